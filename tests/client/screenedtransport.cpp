// Only replies to the library's clients are screened: xmlrpc-c's table of functions is borrowed only while a client is
// created.
#include <cmath>
#include <cstring>

#include <xmlrpc-c/transport.h>

#include "support/fixture.h"
#include "support/xmlrpcspy.h"

using namespace support;

namespace {

// Before any client is created.
const xmlrpc_client_transport_ops tableAtFirst = xmlrpc_curl_transport_ops;

class ScreenedReply : public ClientTest {
protected:
    XmlrpcSpy spy;

    // The parser reads it, and the screen refuses it.
    const Step infinite = replyArray({xml::i4(0), xml::real("inf")});

    static bool tableIsAsAtFirst()
    {
        return std::memcmp(&xmlrpc_curl_transport_ops, &tableAtFirst, sizeof tableAtFirst) == 0;
    }
};

// A client created by another part of the process.
class ForeignClient {
public:
    ForeignClient()
    {
        xmlrpc_env_init(&env);
        xmlrpc_client_setup_global_const(&env);
        xmlrpc_curl_xportparms transport = {};
        transport.user_agent = "foreign";
        xmlrpc_clientparms parameters = {};
        parameters.transport = "curl";
        parameters.transportparmsP = &transport;
        parameters.transportparm_size = XMLRPC_CXPSIZE(timeout);
        xmlrpc_client_create(&env, 0, "foreign", "1", &parameters, XMLRPC_CPSIZE(transportparm_size), &client);
    }
    ~ForeignClient()
    {
        xmlrpc_client_destroy(client);
        xmlrpc_client_teardown_global_const();
        xmlrpc_env_clean(&env);
    }
    ForeignClient(const ForeignClient&) = delete;
    ForeignClient& operator=(const ForeignClient&) = delete;

    double secondOfReply(unsigned short port)
    {
        const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/RPC2";
        xmlrpc_value* reply = nullptr;
        xmlrpc_client_call2f(&env, client, url.c_str(), "any", &reply, "()");
        xmlrpc_int32 first = 0;
        double second = 0;
        if (!env.fault_occurred) {
            xmlrpc_decompose_value(&env, reply, "(id)", &first, &second);
            xmlrpc_DECREF(reply);
        }
        EXPECT_FALSE(env.fault_occurred) << env.fault_string;
        return second;
    }

private:
    xmlrpc_env env;
    xmlrpc_client* client = nullptr;
};

// Also fails if clients no longer copy the table.
TEST_F(ScreenedReply, IsFaultOfTwoLinesAndLeavesOutputs)
{
    slave.play({infinite});
    std::string text = "preset";
    int status = -7001;
    client.getAlarmasEstadoControlador(text, status, ampleTimeout);
    EXPECT_EQ(text, "preset");
    EXPECT_EQ(status, -7001);
    EXPECT_EQ(client.getFault(), XMLRPC_PARSE_ERROR);
    EXPECT_STREQ(client.environment().fault_string,
                 "The reply was refused unread: a double that is infinite or not a number");
    const std::string message = "getAlarmasEstadoControlador : host : 127.0.0.1";
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{debug(message), armed(ampleTimeout), faultLine(message), place()}));
    EXPECT_EQ(spy.resultsReceived, 0);
}

TEST_F(ScreenedReply, LeavesNextCallWorking)
{
    slave.play({infinite, replyArray({xml::i4(0)})});
    client.updateNTP(ampleTimeout);
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(ScreenedReply, InitRestoresTable)
{
    EXPECT_TRUE(tableIsAsAtFirst());
}

TEST_F(ScreenedReply, FailedInitRestoresTable)
{
    nelka::XmlrpcClient other("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    spy.failNext(SetupStep::client, -500, "no client");
    ASSERT_NE(other.init(), 0);
    EXPECT_TRUE(tableIsAsAtFirst());
}

TEST_F(ScreenedReply, ForeignClientIsNotScreened)
{
    ForeignClient createdBefore;
    nelka::XmlrpcClient other("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    ASSERT_EQ(other.init(), 0);
    ForeignClient createdAfterwards;
    slave.play({infinite});
    EXPECT_TRUE(std::isinf(createdBefore.secondOfReply(slave.port())));
    EXPECT_TRUE(std::isinf(createdAfterwards.secondOfReply(slave.port())));
}

} // namespace
