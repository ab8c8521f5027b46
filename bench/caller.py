"""caller.py SENT RECEIVED PORT COUNT: makes COUNT calls with Python's client and prints the duration of one, as
bench_repeat does. SENT and RECEIVED are the sizes of the blocks sent and received; at least one is 0.
"""
import json
import sys
import time
import xmlrpc.client

sent, received, port, count = map(int, sys.argv[1:])
slave = xmlrpc.client.ServerProxy(f"http://127.0.0.1:{port}/RPC2")
block = bytes(sent)


def call():
    if sent:
        answer = slave.wrFicheroTablasSI(1, 2, block)
    elif received:
        answer = slave.RecibirArchivo("/media/fichero", 0)
        assert len(answer[1].data) == received
    else:
        answer = slave.SintonizarCanalTerr(474000000, 8, 1, 0, True)
    assert answer[0] == 0


call()
wall, processor = time.monotonic_ns(), time.process_time_ns()
for _ in range(count):
    call()
print(json.dumps({"wall": (time.monotonic_ns() - wall) / count,
                  "processor": (time.process_time_ns() - processor) / count}))
