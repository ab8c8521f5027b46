// A C++11 program outside the source tree that uses all public classes.
#include <cstdio>
#include <string>

#include <nelkadb/cdb.h>
#include <nelkadb/resultset.h>
#include <nelkanet/remotemethods.h>
#include <nelkanet/version.h>
#include <nelkanet/xmlrpclient.h>
#include <nelkanet/xmlrpcserver.h>

namespace {

// A class that another database library would provide.
class Answering : public nelkadb::CDB {
public:
    void getTable(std::string, nelkadb::ResultSet&, int timeout) override { setFault(timeout); }
    void execQuery(std::string, int& result, std::string, int) override { result = 7; }
};

// Calls xmlrpc-c's functions for handlers, from both of its libraries.
xmlrpc_value* handler(xmlrpc_env* env, xmlrpc_value* parameters, void*, void*)
{
    xmlrpc_int32 number = 0;
    xmlrpc_decompose_value(env, parameters, "(i)", &number);
    if (number < 0)
        xmlrpc_env_set_fault(env, XMLRPC_INDEX_ERROR, "no such number");
    return env->fault_occurred ? nullptr : xmlrpc_build_value(env, "(i)", number);
}

int failures = 0;

void expect(bool truth, const char* what)
{
    if (!truth) {
        std::fprintf(stderr, "not so: %s\n", what);
        ++failures;
    }
}

} // namespace

int main()
{
    expect(std::string(NELKANET_VERSION) == VERSION, "the headers are of the version that was installed");

    nelka::XmlrpcServer server;
    server.AddFunction(nelka::remote::RdHora, handler, nullptr);
    server.Start("", 0);
    expect(server.listening(), "a server listens");

    // Nothing listens on this port.
    nelka::XmlrpcClient client("127.0.0.1", 1, "eth0", "consumer", NELKANET_VERSION);
    expect(client.init() == 0, "a client is ready");
    client.dbName = "modulo";
    int changes = 0;
    client.xmlrpc_changes(changes, 2000);
    expect(client.getFault() == XMLRPC_NETWORK_ERROR, "a closed port is a transport fault");
    expect(client.environment().fault_occurred, "the environment tells why");
    client.set_timer(0);

    Answering other;
    nelkadb::CDB* const databases[] = {&client, &other};
    expect(dynamic_cast<nelka::XmlrpcClient*>(databases[0]) == &client, "a client is a database");
    int result = 0;
    databases[1]->execQuery("", result, "", 0);
    expect(result == 7, "so is what another library derives");

    nelkadb::ResultSet set;
    const nelkadb::ResultSet copy(set);
    expect(copy.rowCount() == 0, "a result set can be copied");
    return failures == 0 ? 0 : 1;
}
