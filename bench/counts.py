#!/usr/bin/env python3
"""Counts the cost of a call, and fails if it exceeds the limits.

Instructions come from callgrind, as the difference of two run lengths, so that start-up drops out. What xmlrpc-c does
inside its call depends on when the bytes arrive; what happens around that call takes the same number of instructions
every time. So only the code around the call and the screening of the reply within it are compared with raw xmlrpc-c,
and the difference is divided by the instructions of a whole raw call. Instructions do not show what the kernel does, so
the library's own system calls are counted too.
"""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import platform
import socket
import subprocess
import sys
import tempfile
import threading

HERE = pathlib.Path(__file__).resolve().parent
PROGRAMS = HERE.parent / "build" / "bench" / "bench"
STORED = HERE / "instructions.json"

CALLS = (100, 300)
MOST_OVER_RAW = 1.02
MOST_OVER_RAW_WITH_I8 = 1.08
MOST_OF_THE_PARSE = 0.15
MOST_EXTRA_ALLOCATIONS = 6
TOLERANCE = 1.02
ALLOCATION_HEADERS = 4096  # besides the copy of a block: the rounding of its allocation and a few short texts

XMLRPC_CALL = "xmlrpc_client_call2f"
OWN_LIBRARY = "libnelkanet.so"
LOOK_AT_THE_REPLY = "nelka::reasonToRefuse"
SYSTEM_CALLS = ("pthread_sigmask", "setitimer", "gettid")

# The function that makes one call, per caller.
OUTERMOST = {
    "nelkanet": "NelkanetCaller",
    "xmlrpc-c": "XmlrpcCCaller",
    "xmlrpc-c+syslog": "LoggingXmlrpcCCaller",
}

LINES_A_CALL = 3

# The block: bytes sent, bytes received.
EXCHANGES = {
    "small": (0, 0),
    "write48k": (48000, 0),
    "read48k": (0, 48000),
    "write700k": (700000, 0),
    "read700k": (0, 700000),
}

# Replies to screen and parse, and how often.
DOCUMENTS = {"small": (10, 30), "i8": (10, 30), "block": (1, 2), "table": (1, 2)}

# The fate of the log lines, the call to compare with, arguments of bench_repeat.
MODES = {
    "masked": ("xmlrpc-c", ["masked"]),
    "listening log socket": ("xmlrpc-c+syslog", []),
    "no log socket": ("xmlrpc-c+syslog", []),
}


class Responder:
    """Answers every request with the same reply, which contains a block of that many bytes."""

    def __init__(self, block=0):
        self.process = subprocess.Popen([PROGRAMS / "bench_responder", str(block)], stdout=subprocess.PIPE, text=True)
        self.port = self.process.stdout.readline().strip()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.process.stdout.close()


class LogSocket:
    """Reads the system log and discards it."""

    def __enter__(self):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind("/dev/log")
        self.lines = 0
        threading.Thread(target=self.drain, daemon=True).start()
        return self

    def drain(self):
        while self.socket.recv(65536):
            self.lines += 1

    def __exit__(self, *_):
        self.socket.shutdown(socket.SHUT_RDWR)
        os.unlink("/dev/log")


def environment(**more):
    kept = {name: value for name, value in os.environ.items() if not name.lower().endswith("_proxy")}
    return {**kept, **more}


class Profile:
    """From a callgrind file: the cost of each shared object without its callees, and of each function with them."""

    def __init__(self, path):
        self.own = collections.Counter()
        self.inclusive = collections.Counter()
        self.system_calls = 0
        shared_object = function = called = ""
        of_a_call = False
        for line in path.read_text().splitlines():
            key, _, value = line.partition("=")
            if key == "ob":
                shared_object = pathlib.Path(value).name
            elif key == "fn":
                function = value
            elif key == "cfn":
                called = value
            elif key == "calls":
                of_a_call = True
                if shared_object.startswith(OWN_LIBRARY) and called.partition("@")[0] in SYSTEM_CALLS:
                    self.system_calls += int(value.split()[0])
            elif line and (line[0].isdigit() or line[0] in "+-*"):
                cost = int(line.split()[1])
                if not of_a_call:
                    self.own[shared_object] += cost
                elif called != function:
                    self.inclusive[called] += cost
                of_a_call = False


def profiled(command):
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder, "profile")
        subprocess.run(
            ["valgrind", "-q", "--tool=callgrind", f"--callgrind-out-file={out}", "--compress-strings=no",
             "--compress-pos=no", *command],
            check=True, env=environment(), stdout=subprocess.DEVNULL)
        return Profile(out)


def profiles(times, command):
    """The profiles of one run per length; `command` makes the command line for a length."""
    with concurrent.futures.ThreadPoolExecutor(2) as both:
        return both.map(lambda count: profiled(command(count)), times)


def document(name):
    """Instructions to screen a reply, and to parse it."""
    times = DOCUMENTS[name]
    few, many = profiles(times, lambda count: [PROGRAMS / "bench_documents", name, str(count)])
    return {cost: (many.inclusive[function] - few.inclusive[function]) / (times[1] - times[0])
            for cost, function in (("look", "lookAt"), ("parse", "parse"))}


def instructions(caller, port, arguments):
    """Per call: all instructions, those around xmlrpc-c's call, those of screening the reply, those in the library itself,
   and its system calls."""
    few, many = profiles(CALLS, lambda calls: [PROGRAMS / "bench_repeat", caller, "0", "0", port, str(calls), *arguments])
    outermost = f"bench::(anonymous namespace)::{OUTERMOST[caller]}::call()"

    def per_call(cost):
        return (cost(many) - cost(few)) / (CALLS[1] - CALLS[0])

    def look(profile):
        return sum(cost for name, cost in profile.inclusive.items() if name.startswith(LOOK_AT_THE_REPLY))

    def library(profile):
        return sum(cost for name, cost in profile.own.items() if name.startswith(OWN_LIBRARY))

    whole = per_call(lambda profile: profile.inclusive[outermost])
    return {"all": whole,
            "around": whole - per_call(lambda profile: profile.inclusive[XMLRPC_CALL]),
            "look": per_call(look),
            "library": per_call(library),
            "system calls": per_call(lambda profile: profile.system_calls)}


def allocations(caller, exchange):
    sent, received = EXCHANGES[exchange]
    with Responder(received) as responder:
        command = [PROGRAMS / "bench_repeat", caller, str(sent), str(received), responder.port, "10", "masked"]
        preload = environment(LD_PRELOAD=str(PROGRAMS / "libcountallocations.so"))
        return json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, env=preload).stdout)


def compiler():
    return subprocess.run(["c++", "-dumpfullversion"], stdout=subprocess.PIPE, text=True).stdout.strip()


def counted(own_log):
    counts = {"machine": platform.machine(), "compiler": compiler(), "instructions": {}, "allocations": {}}
    with Responder() as responder:
        def count(mode):
            raw, arguments = MODES[mode]
            ours, raw = (instructions(caller, responder.port, arguments) for caller in ("nelkanet", raw))
            ratio = 1 + (ours["around"] + ours["look"] - raw["around"]) / raw["all"]
            counts["instructions"][mode] = {"ours": ours, "raw": raw, "ratio": ratio}

        count("masked")
        if own_log:
            count("no log socket")
            with LogSocket() as log:
                count("listening log socket")
            counts["instructions"]["listening log socket"]["lines"] = log.lines
    counts["documents"] = {name: document(name) for name in DOCUMENTS}
    for exchange in EXCHANGES:
        counts["allocations"][exchange] = {caller: allocations(caller, exchange) for caller in ("nelkanet", "xmlrpc-c")}
    return counts


class Verdict:
    def __init__(self):
        self.failed = False

    def __call__(self, holds, text):
        self.failed |= not holds
        print(f"{'ok    ' if holds else 'FAILED'}  {text}")


def judge(counts):
    verdict = Verdict()
    for mode, count in counts["instructions"].items():
        verdict(count["ratio"] <= MOST_OVER_RAW,
                f"{mode}: {count['ratio']:.4f} of {MODES[mode][0]}, at most {MOST_OVER_RAW}"
                f" (around the call {count['ours']['around']:.0f} instructions, raw {count['raw']['around']:.0f};"
                f" screening the reply {count['ours']['look']:.0f}; a raw call {count['raw']['all']:.0f})")

        if "lines" in count:
            verdict(count["lines"] >= 2 * sum(CALLS) * LINES_A_CALL, f"{mode}: heard {count['lines']} lines")

    masked, documents = counts["instructions"]["masked"], counts["documents"]
    ratio = masked["ratio"] + (documents["i8"]["look"] - documents["small"]["look"]) / masked["raw"]["all"]
    verdict(ratio <= MOST_OVER_RAW_WITH_I8,
            f"masked, a reply with an i8: {ratio:.4f} of xmlrpc-c, at most {MOST_OVER_RAW_WITH_I8}")
    for name, cost in documents.items():
        share = cost["look"] / cost["parse"]
        verdict(0 < share <= MOST_OF_THE_PARSE,
                f"{name}: screening it takes {share:.3f} of the instructions of parsing it, at most {MOST_OF_THE_PARSE}"
                f" ({cost['look']:.0f} and {cost['parse']:.0f} instructions)")

    stored = json.loads(STORED.read_text())
    ours = counts["instructions"]["masked"]["ours"]
    verdict(0 < ours["system calls"] <= stored["system calls"],
            f"in the library itself: {ours['system calls']:.0f} system calls, stored {stored['system calls']}")
    if (counts["machine"], counts["compiler"]) == (stored["machine"], stored["compiler"]):
        verdict(0 < ours["library"] <= stored["library"] * TOLERANCE,
                f"in the library itself: {ours['library']:.0f} instructions, stored {stored['library']}")
    else:
        print(f"SKIPPED: {ours['library']:.0f} instructions in the library itself: the stored number is of"
              f" {stored['machine']}, g++ {stored['compiler']}")

    for exchange, count in counts["allocations"].items():
        ours, raw = count["nelkanet"], count["xmlrpc-c"]
        verdict(0 < raw["allocations"] and ours["allocations"] <= raw["allocations"] + MOST_EXTRA_ALLOCATIONS,
                f"{exchange}: {ours['allocations']} allocations, raw {raw['allocations']},"
                f" at most {MOST_EXTRA_ALLOCATIONS} more")
        block = sum(EXCHANGES[exchange])
        verdict(0 < raw["peak"] and ours["peak"] <= raw["peak"] + block + ALLOCATION_HEADERS,
                f"{exchange}: {ours['peak']} bytes at its peak, raw {raw['peak']},"
                f" at most {'one copy of the block' if block else 'a few short texts'} more")
    return verdict


def main():
    options = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    options.add_argument("--own-log", action="store_true", help="/dev/log is ours to make")
    options.add_argument("--output", type=pathlib.Path, help="where to write the counts as JSON")
    options.add_argument("--store", action="store_true", help="store the library's numbers for later runs")
    chosen = options.parse_args()

    counts = counted(chosen.own_log)
    if chosen.store:
        ours = counts["instructions"]["masked"]["ours"]
        STORED.write_text(json.dumps({"machine": counts["machine"], "compiler": counts["compiler"],
                                      **{name: round(ours[name]) for name in ("library", "system calls")}},
                                     indent=2) + "\n")
    if chosen.output:
        chosen.output.write_text(json.dumps(counts, indent=2) + "\n")
    sys.exit(judge(counts).failed)


if __name__ == "__main__":
    main()
