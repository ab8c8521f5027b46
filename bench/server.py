"""Prints its port, then answers every call of "SintonizarCanalTerr" with status 0, one connection a call."""
import xmlrpc.server

server = xmlrpc.server.SimpleXMLRPCServer(("127.0.0.1", 0), logRequests=False)
server.register_function(lambda *arguments: [0], "SintonizarCanalTerr")
print(server.server_address[1], flush=True)
server.serve_forever()
