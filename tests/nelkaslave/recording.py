"""Recording and replay of a real module: recording.py PRELOADED_LIBRARY COMMAND..."""

import base64
import http.client
import json
import math
import os
import pathlib
import random
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import xmlrpc.client
import xmlrpc.server
from xmlrpc.client import Binary, DateTime, Fault

preloading = {"LD_PRELOAD": sys.argv[1], "ASAN_OPTIONS": "verify_asan_link_order=0"}
command = sys.argv[2:]
seed = random.randrange(2**32)


class Wide(int):
    """Sent as i8."""


def write_wide(marshaller, value, write):
    write(f"<value><i8>{int(value)}</i8></value>")


xmlrpc.client.Marshaller.dispatch[Wide] = write_wide


def random_text(source):
    ranges = ((0x20, 0x7E), (0xA0, 0x2FF), (0x4E00, 0x4EFF), (0x1F600, 0x1F64F), (0xFFFC, 0xFFFD))
    text = "".join(chr(source.randint(*source.choice(ranges))) for _ in range(source.randrange(12)))
    return source.choice(("", "\n", "\t ", " ", "]]>", "&amp;", "<i4>")) + text


def random_double(source):
    kind = source.randrange(4)
    if kind == 0:
        return round(source.uniform(-1000, 1000), 2)
    if kind == 1:
        return source.choice((0.0, -0.0, 1.0, 0.1, 5e-324, 1.7976931348623157e308, 2.0**53, 1e22, 1e-7))
    return math.ldexp(source.uniform(-1, 1), source.randint(-1000, 1000))


def random_value(source, depth=0):
    kind = source.randrange(8 if depth > 3 else 10)
    if kind == 0:
        return source.randint(-(2**31), 2**31 - 1)
    if kind == 1:
        return Wide(source.randint(-(2**63), 2**63 - 1))
    if kind == 2:
        return source.random() < 0.5
    if kind == 3:
        return random_double(source)
    if kind == 4:
        return random_text(source)
    if kind == 5:
        return Binary(source.randbytes(source.randrange(20)))
    if kind == 6:
        return None
    if kind == 7:
        return DateTime(f"20{source.randrange(100):02}0102T03:04:{source.randrange(60):02}")
    if kind == 8:
        return [random_value(source, depth + 1) for _ in range(source.randrange(4))]
    names = ("base64", "i8", "double", "dateTime", "struct", "a b", "ñ", "")
    return {source.choice(names): random_value(source, depth + 1) for _ in range(source.randrange(3))}


def same(one, other):
    if isinstance(one, float) and isinstance(other, float):
        return math.copysign(1, one) == math.copysign(1, other) and one == other
    if isinstance(one, list) and isinstance(other, list):
        return len(one) == len(other) and all(map(same, one, other))
    if isinstance(one, dict) and isinstance(other, dict):
        return one.keys() == other.keys() and all(same(one[name], other[name]) for name in one)
    return isinstance(one, bool) == isinstance(other, bool) and one == other


class Module:
    """Simulates a real module: each connection gets the next answer."""

    def __init__(self, *answers):
        self.listening = socket.create_server(("127.0.0.1", 0))
        self.port = self.listening.getsockname()[1]
        self.requests = []
        self.asked = threading.Event()
        self.hung_up = threading.Event()
        self.thread = threading.Thread(target=self.serve, args=(answers,), daemon=True)
        self.thread.start()

    def serve(self, answers):
        for answer in answers:
            connection, _ = self.listening.accept()
            with connection:
                self.requests.append(read_message(connection))
                self.asked.set()
                if answer is None:
                    while connection.recv(1000):
                        pass
                    self.hung_up.set()
                else:
                    connection.sendall(answer)

    def close(self):
        self.listening.close()
        self.thread.join(10)


def read_message(connection):
    received = b""
    while b"\r\n\r\n" not in received:
        received += received_from(connection)
    head, body = received.split(b"\r\n\r\n", 1)
    length = next(int(line[15:]) for line in head.split(b"\r\n") if line.lower().startswith(b"content-length:"))
    while len(body) < length:
        body += received_from(connection)
    return body


def received_from(connection):
    received = connection.recv(65536)
    assert received, "the recorder hung up"
    return received


def http_of(body, status="200 OK", kind="text/xml"):
    return f"HTTP/1.1 {status}\r\nContent-Type: {kind}\r\nContent-Length: {len(body)}\r\n\r\n".encode() + body


def reply(value):
    return http_of(f"<methodResponse><params><param>{value}</param></params></methodResponse>".encode())


class Recording(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.file = pathlib.Path(self.folder.name) / "calls"
        self.addCleanup(self.folder.cleanup)

    def start(self, *options, **environment):
        log = tempfile.TemporaryFile("w+")
        process = subprocess.Popen(
            [*command, "--port", "0", *map(str, options)],
            stdout=subprocess.PIPE,
            stderr=log,
            text=True,
            env=os.environ | environment,
        )
        process.log = log
        self.addCleanup(log.close)
        self.addCleanup(process.stdout.close)
        line = process.stdout.readline()
        self.assertTrue(line.startswith("listening on "), line)
        process.port = int(line.split()[2])
        self.addCleanup(self.end, process)
        return process

    def record(self, port, *options, **environment):
        return self.start("--forward", f"127.0.0.1:{port}", "--record", self.file, *options, **environment)

    def replay(self, *options):
        return self.start("--replay", self.file, *options)

    def end(self, process):
        if process.poll() is None:
            process.send_signal(signal.SIGTERM)
            self.assertEqual(process.wait(10), 0)
        process.log.seek(0)
        return process.log.read()

    def master(self, process):
        proxy = xmlrpc.client.ServerProxy(f"http://127.0.0.1:{process.port}/RPC2", allow_none=True)
        self.addCleanup(proxy("close"))
        return proxy

    def module(self, *answers):
        module = Module(*answers)
        self.addCleanup(module.close)
        return module

    def lines(self):
        return [json.loads(line) for line in self.file.read_text().splitlines()]

    def write(self, *lines):
        self.file.write_text("".join(json.dumps(line) + "\n" for line in lines))

    def exchange(self, process, request, wait=True):
        """The answer to a request, with headers."""
        with socket.create_connection(("127.0.0.1", process.port), 10) as connection:
            head = f"POST /RPC2 HTTP/1.1\r\nHost: x\r\nContent-Type: text/xml\r\nContent-Length: {len(request)}\r\n\r\n"
            connection.sendall(head.encode() + request)
            received = b""
            while wait and (more := connection.recv(65536)):
                received += more
            return received

    def assert_fault(self, code, words, procedure, *arguments):
        with self.assertRaises(Fault) as caught:
            procedure(*arguments)
        self.assertEqual(caught.exception.faultCode, code)
        self.assertIn(words, caught.exception.faultString)

    # Values ---------------------------------------------------------------------------------------------------

    def test_returns_ten_thousand_values_of_all_types(self):
        source = random.Random(seed)
        replies = [[random_value(source) for _ in range(10)] for _ in range(1000)]
        arguments = [[random_value(source) for _ in range(10)] for _ in range(1000)]
        received = []

        def call(*params):
            received.append(list(params))
            return replies[len(received) - 1]

        server = xmlrpc.server.SimpleXMLRPCServer(("127.0.0.1", 0), logRequests=False, allow_none=True)
        server.register_function(call, "Call")
        thread = threading.Thread(target=server.serve_forever, daemon=True)
        thread.start()
        recorder = self.record(server.server_address[1])
        master = self.master(recorder)
        for given, expected in zip(arguments, replies):
            self.assertTrue(same(master.Call(*given), expected), f"seed {seed}")
        for given, got in zip(arguments, received):
            self.assertTrue(same(got, given), f"seed {seed}: {got} for {given}")
        server.shutdown()
        server.server_close()
        self.assertFalse([line for line in self.lines() if "http" in line or "request" in line])

        # In another order, so that the parameters select the answer.
        master = self.master(self.replay("--speed", "0"))
        for index in source.sample(range(1000), 1000):
            got = master.Call(*arguments[index])
            self.assertTrue(same(got, replies[index]), f"seed {seed}: {got} for {replies[index]}")

    def test_keeps_digits_beyond_precision_of_double(self):
        value = "<value><double>0.1000000000000000055511151231257827</double></value>"
        recorder = self.record(self.module(reply(value)).port)
        self.assertEqual(self.master(recorder).Nivel(), 0.1)
        self.assertIn(value.encode(), self.exchange(self.replay(), b"<methodCall><methodName>Nivel</methodName></methodCall>"))

    def test_keeps_carriage_return(self):
        recorder = self.record(self.module(reply("<value>a&#13;\nb</value>")).port)
        self.assertEqual(self.master(recorder).Texto(), "a\r\nb")
        self.assertEqual(self.master(self.replay()).Texto(), "a\r\nb")

    # Recording ------------------------------------------------------------------------------------------------

    def test_writes_one_line_per_call(self):
        module = self.module(reply("<value><array><data><value><i4>0</i4></value></data></array></value>"))
        before = time.time()
        self.master(self.record(module.port)).RdHora(7)
        (line,) = self.lines()
        self.assertEqual([*line], ["time", "procedure", "params", "reply", "delay_ms"])
        self.assertRegex(line["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
        self.assertEqual((line["procedure"], line["params"], line["reply"]), ("RdHora", [7], [0]))
        self.assertLess(line["delay_ms"], (time.time() - before) * 1000 + 1)

    def test_passes_on_any_answer(self):
        answers = {
            "a body that is no XML": http_of(b"\xff\0agotado"),
            "an error of HTTP": http_of(b"no hay", "404 Not Found", "text/plain"),
            "a type in Latin-1": http_of(b"no hay", "404 Not Found").replace(b"text/xml", b"text/\xf1"),
            "an i8 that is no number": reply("<value><i8>x</i8></value>"),
            "a member that comes twice": reply(
                "<value><struct>" + "<member><name>a</name><value>1</value></member>" * 2 + "</struct></value>"
            ),
            "deep nesting": reply("<value><array><data>" * 20000),
            "entities": http_of(
                b"<!DOCTYPE x [<!ENTITY a 'aaaaaaaa'><!ENTITY b '&a;&a;&a;'>]><methodResponse>&b;</methodResponse>"
            ),
        }
        recorder = self.record(self.module(*answers.values()).port)
        request = b"<methodCall><methodName>Sinsentido</methodName></methodCall>"
        passed = [self.exchange(recorder, request) for _ in answers]
        self.assertEqual(self.end(recorder).count("HTTP"), len(answers))
        replayed = self.replay()
        for (what, expected), got in zip(answers.items(), passed):
            with self.subTest(what):
                status, body = expected.split(b"\r\n")[0][9:12], expected.split(b"\r\n\r\n", 1)[1]
                for answer in got, self.exchange(replayed, request):
                    self.assertEqual(answer[9:12], status)
                    self.assertEqual(answer.split(b"\r\n\r\n", 1)[1], body)

    def test_passes_on_invalid_call(self):
        module = self.module(http_of(b"a"), http_of(b"b"))
        recorder = self.record(module.port)
        for request, answer in ((b"<methodCall><methodName/></methodCall>", b"a"), (b"\xff\xfe", b"b")):
            self.assertTrue(self.exchange(recorder, request).endswith(answer))
        self.assertEqual(module.requests, [b"<methodCall><methodName/></methodCall>", b"\xff\xfe"])
        self.end(recorder)
        replayed = self.replay()
        self.assertTrue(self.exchange(replayed, b"\xff\xfe").endswith(b"b"))

    def test_answers_for_silent_module(self):
        answers = {
            "cut": b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n<method",
            "closed": b"",
            "no HTTP": b"hola\r\n\r\n",
        }
        recorder = self.record(self.module(*answers.values()).port)
        master = self.master(recorder)
        for _ in answers:
            self.assert_fault(-504, "no answer from the real module: ", master.UpdateNTP)
        self.assertEqual([line["unanswered"] for line in self.lines()], [True] * 3)
        self.end(recorder)
        master = self.master(self.replay())
        self.assert_fault(-504, "no answer from the real module: ", master.UpdateNTP)

    def test_answers_for_missing_module(self):
        with socket.socket() as bound:
            bound.bind(("127.0.0.1", 0))
            recorder = self.record(bound.getsockname()[1])
            self.assert_fault(-504, "no answer from the real module: ", self.master(recorder).UpdateNTP)

    def test_waits_no_longer_than_told(self):
        recorder = self.record(self.module(None).port, "--forward-timeout", 200)
        self.assert_fault(-505, "no answer from the real module: ", self.master(recorder).UpdateNTP)
        (line,) = self.lines()
        self.assertGreaterEqual(line["delay_ms"], 200)

    def test_hangs_up_with_caller(self):
        module = self.module(None, reply("<value><i4>1</i4></value>"))
        recorder = self.record(module.port)
        self.exchange(recorder, b"<methodCall><methodName>UpdateNTP</methodName></methodCall>", wait=False)
        self.assertTrue(module.hung_up.wait(10))
        self.assertEqual(self.master(recorder).UpdateNTP(), 1)
        self.assertEqual([line.get("unanswered", False) for line in self.lines()], [True, False])

    def test_ends_despite_silent_module(self):
        module = self.module(None)
        recorder = self.record(module.port)
        waiting = threading.Thread(
            target=self.exchange, args=(recorder, b"<methodCall><methodName>UpdateNTP</methodName></methodCall>")
        )
        waiting.start()
        self.assertTrue(module.asked.wait(10))
        self.end(recorder)
        waiting.join(10)
        self.assertEqual([line["unanswered"] for line in self.lines()], [True])

    def test_kill_loses_no_answered_line(self):
        answer = reply("<value><i4>1</i4></value>")
        recorder = self.record(self.module(*[answer] * 21).port)
        master = self.master(recorder)
        for _ in range(20):
            master.UpdateNTP()
        recorder.kill()
        recorder.wait()
        self.assertEqual(len(self.lines()), 20)
        with self.file.open("a") as file:
            file.write('{"time":"2026-')
        again = self.record(self.module(answer).port)
        self.master(again).UpdateNTP()
        self.assertEqual(len(self.lines()), 21)
        self.assertIn(":21: the last line is incomplete and was skipped", self.end(again))

    def test_answers_after_line_is_on_disk(self):
        recorder = self.record(
            self.module(reply("<value>x</value>")).port,
            **preloading,
            KILL_AT_SYNC="2",  # the first sync is that of the new file's folder
        )
        with self.assertRaises((OSError, http.client.HTTPException)):
            self.master(recorder).UpdateNTP()
        self.assertEqual(recorder.wait(10), -signal.SIGKILL)
        self.assertEqual([line["reply"] for line in self.lines()], ["x"])

    def test_signal_during_sync_is_no_failure(self):
        recorder = self.record(self.module(reply("<value>x</value>")).port, **preloading, INTERRUPT_SYNCS="1")
        self.assertEqual(self.master(recorder).UpdateNTP(), "x")

    def test_refuses_file_of_another_kind(self):
        self.file.write_text("precious\n")
        finished = self.fails(2, "--forward", "127.0.0.1", "--record", self.file)
        self.assertIn(f"{self.file}:1:1: ", finished)
        self.assertEqual(self.file.read_text(), "precious\n")

    def test_reports_failed_recording(self):
        recorder = self.record(self.module(reply("<value>x</value>")).port)
        subprocess.run(["prlimit", f"--pid={recorder.pid}", "--fsize=10"], check=True)
        self.assert_fault(-500, "not recorded: ", self.master(recorder).UpdateNTP)
        self.assertEqual(self.file.read_text(), "")

    # Playing back ---------------------------------------------------------------------------------------------

    def test_repeats_answers_of_same_parameters_in_order(self):
        self.write(
            {"procedure": "Changes", "params": ["a"], "reply": 1},
            {"procedure": "Changes", "params": ["b"], "reply": 10},
            {"procedure": "Changes", "params": ["a"], "reply": 2},
        )
        master = self.master(self.replay())
        self.assertEqual([master.Changes("a") for _ in range(5)], [1, 2, 1, 2, 1])
        self.assertEqual([master.Changes("c") for _ in range(4)], [1, 10, 2, 1])

    def test_gives_each_answer_once(self):
        self.write(
            {"procedure": "Changes", "params": ["a"], "reply": 1},
            {"procedure": "Changes", "params": ["b"], "reply": 10},
        )
        replay = self.replay("--replay-once")
        master = self.master(replay)
        self.assertEqual(master.Changes("b"), 10)
        self.assert_fault(-506, "no recorded answer left", master.Changes, "b")
        self.assertEqual(master.Changes("c"), 1)
        self.assert_fault(-506, "no recorded answer left", master.Changes, "c")
        self.assertEqual(self.end(replay).count("no recorded answer left"), 2)

    def test_reports_what_was_never_recorded(self):
        self.write({"procedure": "Changes", "params": ["a"], "reply": 1})
        replay = self.replay()
        self.assert_fault(-506, "never recorded", self.master(replay).RdHora, 0)
        self.assertRegex(self.end(replay), r"RdHora\(0\): fault -506 .*never recorded")

    def delay_of(self, *options):
        replay = self.replay(*options)
        master = self.master(replay)
        start = time.monotonic()
        self.assertEqual(master.RdHora(0), 1)
        return time.monotonic() - start

    def test_takes_as_long_as_module(self):
        self.write({"procedure": "RdHora", "params": [0], "reply": 1, "delay_ms": 400})
        self.assertGreaterEqual(self.delay_of(), 0.4)
        self.assertGreaterEqual(self.delay_of("--speed", 2), 0.2)
        self.write({"procedure": "RdHora", "params": [0], "reply": 1, "delay_ms": 3600000})
        self.assertLess(self.delay_of("--speed", 0), 10)

    def assert_silent(self, replay):
        request = b"<methodCall><methodName>RdHora</methodName></methodCall>"
        with socket.create_connection(("127.0.0.1", replay.port), 10) as connection:
            head = f"POST /RPC2 HTTP/1.1\r\nHost: x\r\nContent-Length: {len(request)}\r\n\r\n"
            connection.sendall(head.encode() + request)
            connection.settimeout(0.3)
            with self.assertRaises(TimeoutError):
                connection.recv(1)

    def test_least_speed_takes_longest(self):
        self.write({"procedure": "RdHora", "reply": 1, "delay_ms": 1000})
        for speed in 1e-10, 1e-300:
            with self.subTest(speed):
                self.assert_silent(self.replay("--speed", speed))

    def test_stays_silent_if_caller_had_hung_up(self):
        self.write({"procedure": "RdHora", "params": [0], "unanswered": True, "delay_ms": 5})
        self.assert_silent(self.replay())
        self.assert_fault(-505, "did not answer", self.master(self.replay("--speed", 0)).RdHora, 0)

    def test_replays_simulated_slave_identically(self):
        simulated = self.start()
        calls = [
            ("GetTable", "modulo", "SELECT * FROM medidas, canales"),
            ("GetTable", "modulo", "SELECT x'00FF', 'ñ' || char(13, 10), NULL, 1e300, 62.55, 9007199254740993"),
            ("GetTable", "modulo", "SELEKT"),
            ("RecibirArchivo", "version.txt", 0),
            ("CheckSincronizado", 0),
            ("CheckSincronizado", "x"),
            ("RdHora", 0),
            ("NoProcedure",),
        ]

        def session(process):
            answers = []
            for name, *arguments in calls:
                body = xmlrpc.client.dumps(tuple(arguments), name).encode()
                answers.append(xml_of(self.exchange(process, body)))
            return answers

        def xml_of(answer):
            try:
                return xmlrpc.client.loads(answer.split(b"\r\n\r\n", 1)[1])
            except Fault as fault:
                return fault.faultCode, fault.faultString

        recorded = session(self.record(simulated.port))
        self.assertEqual(session(self.replay()), recorded)

    # Files and options ----------------------------------------------------------------------------------------

    def fails(self, status, *options):
        finished = subprocess.run([*command, "--port", "0", *map(str, options)], capture_output=True, text=True, timeout=60)
        self.assertEqual((finished.returncode, finished.stdout), (status, ""), finished.stderr)
        return finished.stderr

    def test_skips_incomplete_last_line(self):
        line = json.dumps({"procedure": "RdHora", "params": [0], "reply": 1})
        for rest in '{"time":"2026', line[:-1], "\0\0\0":
            with self.subTest(rest):
                self.file.write_text(line + "\n" + rest)
                replay = self.replay()
                self.assertEqual(self.master(replay).RdHora(0), 1)
                warned = ":2: the last line is incomplete and was skipped" in self.end(replay)
                self.assertEqual(warned, not rest.startswith("\0"))

    def test_names_line_of_mistake(self):
        good = '{"procedure": "RdHora", "params": [0], "reply": 1}\n'
        mistakes = {
            '{"procedure": "RdHora", "params": [0]}': "must have one of reply, fault, http and unanswered",
            '{"procedure": "RdHora", "reply": 5000000000}': "/reply: must be a 32-bit integer",
            '{"procedure": "RdHora", "reply": {"i8": 0.5}}': "/reply/i8: must be a 64-bit integer",
            '{"procedure": "RdHora", "reply": 1e400}': "number overflow",
            '{"procedure": "RdHora", "reply": 1, "replay": 1}': "/replay: is not one of time, ",
            '{"procedure": "RdHora", "reply": 1, "reply": 2}': 'the key "reply" comes twice',
            '{"procedure": "RdHora", "status": 1}': "is for the simulated slave only",
            '{"procedure": "RdHora", "http": {"status": 20}}': "/http: must be an object of status, type and body",
            '{"procedure": "RdHora", "request": "x", "reply": 1}': "must have either a request or a procedure",
            '{"reply": 1}': "must have a procedure",
            "[": "syntax error",
        }
        for mistake, complaint in mistakes.items():
            with self.subTest(mistake):
                self.file.write_text(good + mistake + "\n" + good)
                words = self.fails(2, "--replay", self.file)
                self.assertIn(f"nelkaslave: {self.file}:2:", words)
                self.assertIn(complaint, words)

    def test_accepts_only_one_source_of_answers(self):
        self.write()
        for options in (
            ("--forward", "127.0.0.1"),
            ("--record", self.file),
            ("--replay-once",),
            ("--speed", 1),
            ("--plot",),
            ("--forward-timeout", 1),
            ("--replay", self.file, "--behave", self.file),
            ("--replay", self.file, "--show", self.file),
            ("--replay", self.file, "--speed", -1),
            ("--forward", "http://x", "--record", self.file),
            ("--forward", "x:0", "--record", self.file),
            ("--forward", "x:65536", "--record", self.file),
            ("--forward", "", "--record", self.file),
            ("--replay", "/nowhere/calls"),
            ("--forward", "x", "--record", "/nowhere/calls"),
        ):
            with self.subTest(options):
                self.assertNotEqual(self.fails(2, *options), "")

    # Looking --------------------------------------------------------------------------------------------------

    def test_shows_readable_recording(self):
        block = base64.b64encode(bytes(1000)).decode()
        self.write(
            {"time": "2026-11-21T12:00:00.000Z", "procedure": "RdHora", "params": [0], "reply": [0, {"i8": 42}], "delay_ms": 3},
            {"procedure": "RdHora", "params": [0], "fault": [-77, "agotado"], "delay_ms": 9},
            {"procedure": "RdHora", "params": [0], "reply": [0, {"base64": block}], "delay_ms": 5},
            {"procedure": "Changes", "params": ["ñ" * 100], "fault": [-504, "nadie"], "unanswered": True},
        )
        shown = subprocess.run([*command, "--show", self.file], capture_output=True, text=True, check=True).stdout
        self.assertEqual(
            shown.splitlines(),
            [
                "2026-11-21T12:00:00.000Z RdHora(0): [0, 42], 3 ms",
                ' RdHora(0): fault -77 "agotado", 9 ms',
                " RdHora(0): [0, 1000 bytes], 5 ms",
                ' Changes("' + "ñ" * 30 + '…"): fault -504 "nadie", 0 ms, unanswered',
                "",
                "procedure                      calls  faults  median ms   worst ms",
                "Changes                            1       1          0          0",
                "RdHora                             3       1          5          9",
            ],
        )

    def test_draws_delays(self):
        self.write({"procedure": "a'`b", "params": [], "reply": 1, "delay_ms": 3})
        where = os.environ | {"PATH": "/nowhere"}
        without = subprocess.run([*command, "--show", self.file, "--plot"], capture_output=True, text=True, env=where)
        self.assertEqual((without.returncode, without.stdout), (1, ""))
        self.assertIn("gnuplot", without.stderr)
        if not pathlib.Path("/usr/bin/gnuplot").exists():
            self.skipTest("gnuplot is not installed")
        drawn = subprocess.run([*command, "--show", self.file, "--plot"], capture_output=True, text=True, check=True)
        self.assertIn("<svg", drawn.stdout)
        self.assertIn("a'`b", drawn.stdout.replace("&#39;", "'"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
