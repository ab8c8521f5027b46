// The screen accepts whatever legal marshallers write.
#include <cstdlib>
#include <random>
#include <string>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <xmlrpc-c/base.h>

#include "echo.h"
#include "screen.h"
#include "scribe.h"
#include "server/serverprocess.h"
#include "support/fixture.h"
#include "support/operations.h"
#include "support/seeded.h"

using namespace support;
using hostile::Scribe;

namespace {

int documentsToWrite()
{
    const char* asked = std::getenv("NELKANET_LEGAL_DOCUMENTS");
    return asked ? std::atoi(asked) : 4000;
}

// Whether xmlrpc-c reads it; otherwise it is no example.
bool isReadByXmlrpcc(const std::string& reply)
{
    xmlrpc_env env;
    xmlrpc_env_init(&env);
    xmlrpc_value* const result = xmlrpc_parse_response(&env, reply.data(), reply.size());
    // xmlrpc-c rejects characters beyond U+FFFD, and a fault is an answer.
    const bool read = !env.fault_occurred || env.fault_code == XMLRPC_INVALID_UTF8_ERROR || env.fault_code == -1;
    if (result)
        xmlrpc_DECREF(result);
    xmlrpc_env_clean(&env);
    return read;
}

void expectPassed(const std::string& document)
{
    const char* const reason = nelka::reasonToRefuse(document);
    EXPECT_EQ(reason, nullptr) << reason << ":\n" << document;
}

std::string anyMethod(std::mt19937& random)
{
    const std::vector<Operation>& all = operations();
    return all[random() % all.size()].remote;
}

TEST(LegalDocuments, PassScreen)
{
    std::mt19937 random = seeded();
    for (int i = 0; i < documentsToWrite() && !HasFailure(); i += 4) {
        expectPassed(Scribe(random).request(anyMethod(random)));
        for (const std::string& reply : {Scribe(random).reply(), Scribe(random).reply(), Scribe(random).fault()}) {
            expectPassed(reply);
            EXPECT_TRUE(isReadByXmlrpcc(reply)) << reply;
        }
    }
}

TEST(LegalDocuments, PassScreenWithTableOfOneMegabyte)
{
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, 1'048'576);
    std::mt19937 random = seeded();
    for (int i = 0; i < documentsToWrite(); i += 500) {
        const std::string table = Scribe(random).table(1'040'000);
        const char* const reason = nelka::reasonToRefuse(table);
        EXPECT_EQ(reason, nullptr) << reason << ": a table that begins with\n" << table.substr(0, 2000);
        EXPECT_TRUE(isReadByXmlrpcc(table));
    }
}

TEST_F(ClientTest, AcceptsLegalReplies)
{
    std::mt19937 random = seeded();
    for (int i = 0; i < documentsToWrite() / 20; ++i) {
        const std::string reply = Scribe(random, false).reply();
        slave.play({ok(reply)});
        int status = -7001;
        client.setRefrescoWeb(1, status, ampleTimeout);
        ASSERT_EQ(client.getFault(), 0) << client.environment().fault_string << ":\n" << reply;
        EXPECT_EQ(status, 0);
    }
}

TEST(Server, AcceptsLegalRequests)
{
    std::mt19937 random = seeded();
    const ServerProcess server(hostile::publishEcho);
    for (int i = 0; i < documentsToWrite() / 20; ++i) {
        const std::string request = Scribe(random, false).request("eco");
        const std::string answer = hostile::answerTo(xml::post(request), hostile::Message::Then::hold, server.port());
        ASSERT_NE(answer.find("<params>"), std::string::npos) << answer << "\nto\n" << request;
    }
}

} // namespace
