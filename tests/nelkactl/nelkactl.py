"""nelkactl on a terminal, and against many slaves: NELKACTL TEST runs one of the functions below."""

import json
import os
import pty
import re
import select
import signal
import socketserver
import subprocess
import sys
import tempfile
import termios
import threading
import time
import xmlrpc.server

PATIENCE = 30


class Server(socketserver.ThreadingMixIn, xmlrpc.server.SimpleXMLRPCServer):
    daemon_threads = True
    request_queue_size = 128


class Slave:
    """Answers the given procedures, by name, and records the calls."""

    def __init__(self, **procedures):
        self.calls = []
        self.called = threading.Condition()
        self.server = Server(("127.0.0.1", 0), logRequests=False, allow_none=True)
        self.port = self.server.server_address[1]
        for name, procedure in procedures.items():
            self.server.register_function(self.recording(name, procedure), name)
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def recording(self, name, procedure):
        def recorded(*arguments):
            with self.called:
                self.calls.append(name)
                self.called.notify_all()
            return procedure(*arguments)

        return recorded

    def await_call(self, name):
        with self.called:
            assert self.called.wait_for(lambda: name in self.calls, PATIENCE), self.calls


def scanning_slave(*statuses):
    """A slave whose scan has these statuses, one per poll, and repeats the last."""
    rest = list(statuses)
    return Slave(
        InitInputScan=lambda *_: [7],
        StatusInputScan=lambda *_: [rest.pop(0) if len(rest) > 1 else rest[0]],
        getScanReport=lambda *_: [0, "tres canales"],
        CancelInputScan=lambda *_: [0],
    )


class Terminal:
    """nelkactl in the foreground of a new terminal; its standard output is a pipe."""

    def __init__(self, port, *words, columns=80):
        self.shown = b""
        out, self.out = os.pipe(), b""
        self.child, self.screen = pty.fork()
        if self.child == 0:
            termios.tcsetwinsize(2, (24, columns))
            os.dup2(out[1], 1)
            os.execv(NELKACTL, [NELKACTL, "-p", str(port), *words])
        os.close(out[1])
        self.pipe = out[0]

    def read(self):
        """Reads some output; false once the terminal is closed."""
        ready, _, _ = select.select([self.screen], [], [], PATIENCE)
        assert ready, self.shown
        try:
            piece = os.read(self.screen, 65536)
        except OSError:
            return False
        self.shown += piece
        return bool(piece)

    def await_text(self, text):
        while text not in self.shown:
            assert self.read(), self.shown

    def bars(self):
        """The progress bars shown, in order."""
        return [piece[:-3] for piece in self.shown.decode().split("\r") if len(piece) > 3 and piece.endswith("\033[K")]

    def press(self, key):
        os.write(self.screen, key)

    def finish(self):
        while self.read():
            pass
        with open(self.pipe, "rb") as pipe:
            self.out = pipe.read()
        return os.waitstatus_to_exitcode(os.waitpid(self.child, 0)[1])


def screen(shown):
    """The lines that remain on a terminal after carriage returns and erasures to the end of the line."""
    lines = []
    for line in shown.decode().split("\n"):
        cells, column, rest = [], 0, line
        while rest:
            if rest.startswith("\033[K"):
                del cells[column:]
                rest = rest[3:]
                continue
            if rest[0] == "\r":
                column = 0
            else:
                cells[column : column + 1] = [rest[0]]
                column += 1
            rest = rest[1:]
        lines.append("".join(cells))
    return lines


def terminal_shows_transient_progress_bar():
    slave = scanning_slave(0, 50, 100)
    terminal = Terminal(slave.port, "scan", "1", "2", "3", "--interval", "10")
    assert terminal.finish() == 0, terminal.shown
    assert terminal.out == b"idScan: 7\nstatus: 100\nreport: tres canales\n", terminal.out
    assert [bar.split(",")[0] for bar in terminal.bars()] == [
        "[" + "." * 68 + "] 0 of 100",
        "[" + "#" * 28 + "." * 28 + "] 50 of 100",
    ], terminal.bars()
    assert screen(terminal.shown) == [""], screen(terminal.shown)


def progress_bar_fits_terminal():
    for columns in (200, 40, 10, 2):
        slave = scanning_slave(0, 5, 50, 100)
        terminal = Terminal(slave.port, "scan", "1", "2", "3", "--interval", "10", columns=columns)
        assert terminal.finish() == 0, terminal.shown
        bars = terminal.bars()
        assert len(bars) == 3 and max(map(len, bars)) == columns - 1, (columns, bars)
        assert (columns < 40) != any("#" in bar for bar in bars), (columns, bars)


def progress_bar_shows_time_left():
    polls, pause = [], 0.3

    def status(*_):
        polls.append(time.monotonic())
        return [10000 if len(polls) == 6 else int((polls[-1] - polls[0]) * 2000)]

    slave = Slave(InitInputScan=lambda *_: [7], StatusInputScan=status, getScanReport=lambda *_: [0, ""])
    interval = str(int(1000 * pause))
    terminal = Terminal(slave.port, "scan", "1", "2", "3", "--interval", interval, "--until", "10000")
    assert terminal.finish() == 0, terminal.shown
    bars = [re.search("([0-9]+) of 10000(?:, ([0-9]+):([0-9]{2}) left)?$", bar) for bar in terminal.bars()]
    assert bars[0][2] is None, terminal.bars()
    # nelkactl pauses between a status and the next poll, so the polls bound the moments when it saw them.
    for number, bar in enumerate(bars[1:], start=1):
        seen = int(bar[1])
        least, most = polls[number] - polls[1] + pause, polls[number + 1] - pause - polls[0]
        left = [passed * (10000 - seen) / seen for passed in (least, most)]
        assert left[0] - 0.6 <= 60 * int(bar[2]) + int(bar[3]) <= left[1] + 0.6, (terminal.bars(), polls)


def progress_bar_shows_hours_left():
    slave = scanning_slave(0, 1, 1000000)
    terminal = Terminal(slave.port, "scan", "1", "2", "3", "--interval", "20", "--until", "1000000")
    assert terminal.finish() == 0, terminal.shown
    assert re.search(" of 1000000, [0-9]+:[0-5][0-9]:[0-5][0-9] left$", terminal.bars()[1]), terminal.bars()


def scan_with_lines_shows_no_progress_bar():
    for option in ("--quiet", "--verbose"):
        slave = scanning_slave(0, 50, 100)
        terminal = Terminal(slave.port, option, "scan", "1", "2", "3", "--interval", "10")
        assert terminal.finish() == 0, terminal.shown
        assert not terminal.bars(), terminal.shown
        assert (option == "--quiet") == (terminal.shown == b""), terminal.shown


def terminal_shows_fleet_progress():
    slave = Slave(Changes=lambda _: (time.sleep(0.1), [0, 42])[1])
    with tempfile.NamedTemporaryFile("w") as hosts:
        hosts.write(f"127.0.0.1:{slave.port}\n" * 3)
        hosts.flush()
        terminal = Terminal(slave.port, "--hosts", hosts.name, "-j", "1", "--json", "xmlrpc_changes")
        assert terminal.finish() == 0, terminal.shown
    for done in range(3):
        assert b"] %d done, 0 failed, 1 running" % done in terminal.shown, terminal.shown
    assert b" left\033[K" in terminal.shown, terminal.shown
    assert re.fullmatch(r"nelkactl: 3 done, [0-9.]+ s\n", "\n".join(screen(terminal.shown))), terminal.shown


def words_replace_progress_bar():
    slave = scanning_slave(50, -3)
    terminal = Terminal(slave.port, "scan", "1", "2", "3", "--interval", "10")
    assert terminal.finish() == 1, terminal.shown
    assert b"[####" in terminal.shown, terminal.shown
    lines = screen(terminal.shown)
    assert lines[0].endswith(": refused: the slave's status is -3; the scan is cancelled"), lines
    assert not any("[#" in line for line in lines), lines


def interrupt_key_cancels_scan():
    slave = scanning_slave(30)
    terminal = Terminal(slave.port, "scan", "1", "2", "3", "--interval", "10", "--json")
    terminal.await_text(b" 30 of 100")
    terminal.press(b"\x03")
    assert terminal.finish() == -signal.SIGINT, terminal.shown
    assert slave.calls[-1] == "CancelInputScan", slave.calls
    assert json.loads(terminal.out)["ending"] == "interrupted", terminal.out
    assert "interrupted: SIGINT; the scan is cancelled" in screen(terminal.shown)[-2], terminal.shown


def xargs(lines, *words):
    done = subprocess.run(
        ["xargs", "-P", "8", "-L", "1", NELKACTL, *words],
        input="".join(line + "\n" for line in lines),
        capture_output=True,
        text=True,
        timeout=120,
    )
    assert (done.returncode, done.stderr) == (0, ""), done
    return done.stdout


def fifty_slaves_answer_in_whole_lines():
    slaves = [Slave() for _ in range(50)]
    for slave in slaves:
        slave.server.register_function(lambda query, port=slave.port: [0, port], "Changes")
    hosts = ["-H 127.0.0.1 -p %d" % slave.port for slave in slaves]
    lines = xargs(hosts * 2, "--json", "xmlrpc_changes").splitlines()
    results = [json.loads(line) for line in lines]
    expected = sorted((slave.port, slave.port) for slave in slaves * 2)
    assert sorted((result["port"], result["changes"]) for result in results) == expected, lines


def long_lines_of_many_processes_stay_whole():
    reports = ["x" * 300000 + str(i) for i in range(8)]
    slaves = [Slave(getScanReport=lambda *_, report=report: [0, report]) for report in reports]
    hosts = ["-p %d" % slave.port for slave in slaves]
    lines = xargs(hosts * 3, "--json", "getScanReport", "1", "7").splitlines()
    assert sorted(json.loads(line)["report"] for line in lines) == sorted(reports * 3)


NELKACTL = sys.argv[1]
globals()[sys.argv[2]]()
