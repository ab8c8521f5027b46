"""The simulated slave against Python's own XML-RPC client: nelkaslave.py MAN_PAGE COMMAND..."""

import http.client
import pathlib
import re
import signal
import subprocess
import sys
import unittest
import xmlrpc.client
from xmlrpc.client import Binary, Fault

man_page = pathlib.Path(sys.argv[1]).read_text()
completion = (pathlib.Path(sys.argv[1]).parents[2] / "tools/nelkaslave/completion.bash").read_text()
command = sys.argv[2:]


class Slave(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.process = subprocess.Popen(
            command + ["--port", "0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True
        )
        cls.port = int(cls.process.stdout.readline().removeprefix("listening on "))

    @classmethod
    def tearDownClass(cls):
        cls.process.send_signal(signal.SIGTERM)
        status = cls.process.wait(10)
        cls.process.stdout.close()
        assert status == 0, status

    def setUp(self):
        self.slave = xmlrpc.client.ServerProxy(f"http://127.0.0.1:{self.port}/RPC2", allow_none=True)

    def tearDown(self):
        self.assertEqual(self.slave.sample.add(10, 5), [15])  # it still works
        self.slave("close")()

    def assert_fault(self, code, words, procedure, *arguments):
        with self.assertRaises(Fault) as caught:
            procedure(*arguments)
        self.assertEqual(caught.exception.faultCode, code)
        self.assertIn(words, caught.exception.faultString)

    def procedures(self):
        return {name for name in self.slave.system.listMethods() if not name.startswith("system.")}

    def test_has_every_procedure(self):
        self.assertEqual(
            self.procedures(),
            set(
                """sample.add GetTable ExecQuery ActualizaIdentificacion GetAlarmasEstadoControlador CheckSincronizado
                Changes ResetFactoryEsclavo RdHora ActualizaRefrescoWeb UpdateNTP EjecutarScript SintonizarCanalTerr
                SintonizarCanalSat InitInputScan StatusInputScan getScanReport CancelInputScan get_FPGA_SOC
                Change_FPGA_SOC Generate_JSON_WEB RecibirArchivo BorrarArchivo wrFicheroTablasSI configureSAP
                RdFicheroTablasSI RdFicheroResumen""".split()
            ),
        )

    def test_man_page_describes_every_procedure(self):
        section = re.search(r"^\.SH PROCEDURES$(.*?)^\.SH", man_page, re.M | re.S)[1]
        headings = re.findall(r"^\.TP\n\.BR? (.*)", section, re.M)
        self.assertCountEqual(" ".join(headings).replace('", "', "").split(), self.procedures())

    def test_man_page_and_completion_have_every_option(self):
        usage = subprocess.run(command + ["--help"], capture_output=True, text=True, check=True).stdout
        options = re.findall(r"^  .*?(--[a-z-]+)", usage, re.M)
        self.assertGreater(len(options), 10)
        for option in options:
            heading = r"^\.BI?R? .*" + re.escape(option.replace("-", "\\-")) + r"\b(?!\\)"
            self.assertRegex(man_page, re.compile(heading, re.M))
            self.assertRegex(completion, re.escape(option) + r"[\s\"]")

    def test_returns_rows_of_every_type(self):
        query = "SELECT 1 AS uno, -2147483649, 0.25, 'ñ', NULL, x'00FF', CAST(x'41FF' AS TEXT), 1e300"
        status, (names, row) = self.slave.GetTable("modulo", query)
        self.assertEqual((status, names[0]), (0, "uno"))
        self.assertEqual(row, [1, -2147483649, 0.25, "ñ", None, Binary(b"\0\xff"), Binary(b"A\xff"), 1e300])

    def test_counts_write(self):
        before = self.slave.Changes("modulo")[1]
        self.assertEqual(self.slave.ExecQuery("modulo", "medidas", "UPDATE medidas SET ber = 0"), [0, 4])
        self.assertEqual(self.slave.Changes("modulo"), [0, before + 1])

    def test_deletes_file(self):
        self.assertEqual(self.slave.BorrarArchivo("/logs/arranque.log"), [0])
        self.assertEqual(self.slave.BorrarArchivo("/logs/arranque.log"), [1])
        self.assertEqual(self.slave.BorrarArchivo("/logs"), [2])
        self.assertEqual(self.slave.BorrarArchivo("/../modulo.db"), [2])
        self.assertEqual(self.slave.GetTable("modulo", "SELECT 1")[0], 0)

    def test_returns_blocks_of_any_size(self):
        # The last block fills 1 MiB of XML as the library writes it.
        for size in 0, 1, 65536, 750_000, 766_068, 3_000_000:
            block = bytes(i * 7 % 251 for i in range(251)) * (size // 251 + 1)
            block = block[:size]
            self.assertEqual(self.slave.wrFicheroTablasSI(5, size, Binary(block)), [0])
            self.assertEqual(self.slave.RdFicheroTablasSI(5, size, 0, 0, 0), [0, Binary(block)])

    def test_survives_too_large_request(self):
        with self.assertRaises((Fault, xmlrpc.client.ProtocolError, OSError, http.client.HTTPException)):
            self.slave.wrFicheroTablasSI(6, 6, Binary(bytes(20_000_000)))
        self.slave("close")()
        self.assertEqual(self.slave.RdFicheroTablasSI(6, 6, 0, 0, 0), [1])

    def test_names_wrong_argument(self):
        self.assert_fault(-501, "argument 1 must be a string", self.slave.GetTable, 1, "SELECT 1")
        self.assert_fault(-501, "argument 2 must be a string", self.slave.GetTable, "modulo", None)
        self.assert_fault(-501, "argument 1 must be a 32-bit integer", self.slave.RdHora, "0")
        self.assert_fault(-501, "argument 1 must be a 32-bit integer", self.slave.RdHora, True)
        self.assert_fault(-501, "argument 5 must be a boolean", self.slave.SintonizarCanalTerr, 1, 1, 1, 1, 1)
        self.assert_fault(-501, "argument 3 must be a base64", self.slave.wrFicheroTablasSI, 1, 1, "block")
        self.assert_fault(-501, "argument 1 must be a string", self.slave.EjecutarScript, ["diagnostico"])

    def test_names_expected_number_of_arguments(self):
        self.assert_fault(-502, "called with 1 arguments, takes 0", self.slave.UpdateNTP, 1)
        self.assert_fault(-502, "called with 0 arguments, takes 1", self.slave.Changes)
        self.assert_fault(-502, "called with 2 arguments, takes 3", self.slave.ExecQuery, "modulo", "DELETE")

    def test_wrong_call_writes_nothing(self):
        before = self.slave.Changes("modulo")
        self.assert_fault(-502, "takes 3", self.slave.ExecQuery, "modulo", "canales", "DELETE FROM canales", 1)
        self.assertEqual(self.slave.ExecQuery("modulo", "DELETE FROM canales", "canales"), [3])
        self.assertEqual(self.slave.Changes("modulo"), before)

    def test_refuses_unknown_procedure(self):
        self.assert_fault(-506, "NO_TABLE", self.slave.NO_TABLE)

    def test_survives_invalid_xml(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=10)
        connection.request("POST", "/RPC2", "<methodCall><methodName>RdHora", {"Content-Type": "text/xml"})
        self.assertIn(b"-503", connection.getresponse().read())
        connection.close()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
