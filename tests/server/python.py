"""What Python's own XML-RPC client expects of a server process: server_python.py PORT TEST."""

import datetime
import http.client
import sys
import xmlrpc.client

port = int(sys.argv[1])
server = xmlrpc.client.ServerProxy(f"http://127.0.0.1:{port}/RPC2", allow_none=True)


def echoed(*values):
    return server.RdHora(*values)


def fault_of(call, *arguments):
    try:
        call(*arguments)
    except xmlrpc.client.Fault as fault:
        return fault
    raise AssertionError("no fault")


def adds():
    assert server.sample.add(10, 5) == 15
    assert server.sample.add(-2147483648, 0) == -2147483648


def every_kind_of_value_comes_back():
    values = [0, -1, 2147483647, True, False, 0.1, -2.5, "text", None, [1, ["nested", []]], {"a": 1, "b": {}}]
    assert echoed(*values) == values
    moment = xmlrpc.client.DateTime(datetime.datetime(2026, 1, 2, 3, 4, 5))
    assert echoed(moment) == [moment]


def texts_come_back():
    texts = ["", "<&>\"'", "ñandú", "日本語", "line\nline", "  blanks  "]
    assert echoed(*texts) == texts


def a_large_block_comes_back():
    block = bytes(range(256)) * 1000
    assert echoed(xmlrpc.client.Binary(block))[0].data == block


def a_recorded_fault_arrives():
    fault = fault_of(server.UpdateNTP)
    assert (fault.faultCode, fault.faultString) == (-77, "not today")


def wrong_arguments_are_a_fault():
    assert fault_of(server.sample.add, "10", "5").faultCode == -501
    assert fault_of(server.sample.add, 10).faultCode == -502


def an_unknown_method_is_a_fault():
    assert fault_of(server.rdhora).faultCode == -506


def the_methods_are_listed():
    listed = server.system.listMethods()
    assert {"sample.add", "RdHora", "UpdateNTP"} <= set(listed), listed


def another_path_is_not_found():
    elsewhere = xmlrpc.client.ServerProxy(f"http://127.0.0.1:{port}/other")
    try:
        elsewhere.sample.add(10, 5)
    except xmlrpc.client.ProtocolError as error:
        assert error.errcode == 404
    else:
        raise AssertionError("answered")


def a_method_wants_post():
    connection = http.client.HTTPConnection("127.0.0.1", port)
    connection.request("GET", "/RPC2")
    assert connection.getresponse().status == 405


globals()[sys.argv[2]]()
