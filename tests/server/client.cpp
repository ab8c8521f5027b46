// nelka::XmlrpcClient against nelka::XmlrpcServer, each in its own process.
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <nelkanet/xmlrpcserver.h>

#include "serverprocess.h"
#include "support/blocks.h"
#include "support/fixture.h"

using support::ampleTimeout;

namespace {

constexpr int noSuchMethod = -506;

xmlrpc_value* add(xmlrpc_env* env, xmlrpc_value* arguments, void*, void*)
{
    int a = 0;
    int b = 0;
    xmlrpc_decompose_value(env, arguments, "(ii)", &a, &b);
    return env->fault_occurred ? nullptr : xmlrpc_build_value(env, "(i)", a + b);
}

xmlrpc_value* tellTime(xmlrpc_env* env, xmlrpc_value* arguments, void*, void*)
{
    int parameter = 0;
    xmlrpc_decompose_value(env, arguments, "(i)", &parameter);
    return env->fault_occurred ? nullptr : xmlrpc_build_value(env, "(iI)", 0, 5000000000LL + parameter);
}

xmlrpc_value* refuse(xmlrpc_env* env, xmlrpc_value*, void*, void*)
{
    return xmlrpc_build_value(env, "(i)", 3);
}

std::vector<unsigned char> stored;

xmlrpc_value* store(xmlrpc_env* env, xmlrpc_value* arguments, void*, void*)
{
    int kind = 0;
    int parameter = 0;
    const unsigned char* bytes = nullptr;
    std::size_t size = 0;
    xmlrpc_decompose_value(env, arguments, "(ii6)", &kind, &parameter, &bytes, &size);
    if (env->fault_occurred)
        return nullptr;
    stored.assign(bytes, bytes + size);
    std::free(const_cast<unsigned char*>(bytes));
    return xmlrpc_build_value(env, "(i)", 0);
}

xmlrpc_value* fetch(xmlrpc_env* env, xmlrpc_value*, void*, void*)
{
    return xmlrpc_build_value(env, "(i6)", 0, stored.data(), stored.size());
}

class ClientOfServer : public ::testing::Test {
protected:
    support::ServerProcess slave{[](nelka::XmlrpcServer& server) {
        server.AddFunction("sample.add", add, nullptr);
        server.AddFunction(nelka::remote::RdHora, tellTime, nullptr);
        server.AddFunction(nelka::remote::UpdateNTP, refuse, nullptr);
        server.AddFunction(nelka::remote::wrFicheroTablasSI, store, nullptr);
        server.AddFunction(nelka::remote::RdFicheroTablasSI, fetch, nullptr);
    }};
    nelka::XmlrpcClient client{"127.0.0.1", slave.port(), "eth1", "app", "1.0"};

    void SetUp() override { ASSERT_EQ(client.init(), 0); }
    void TearDown() override { client.set_timer(0); }
};

TEST_F(ClientOfServer, GetsSum)
{
    ::testing::internal::CaptureStdout();
    client.sampleadd(ampleTimeout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "RESULTADO 15");
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(ClientOfServer, GetsTimeInMoreThan32Bits)
{
    unsigned long long time = 0;
    int status = -1;
    client.getHoraModulo(7, time, status, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(time, 5000000007ULL);
}

TEST_F(ClientOfServer, GetsStatusOfRefusal)
{
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 3);
}

TEST_F(ClientOfServer, GetsFaultForUnknownMethod)
{
    client.resetModuleToFactorySettings(ampleTimeout);
    EXPECT_EQ(client.getFault(), noSuchMethod);
}

TEST_F(ClientOfServer, ReadsBackWrittenBlock)
{
    const std::vector<char> block = support::block(support::bytes(60'000));
    client.wrFicheroTablasSI(1, 2, block, ampleTimeout);
    ASSERT_EQ(client.getFault(), 0);
    std::vector<char> read;
    client.rdFicheroTablasSI(1, 2, 0, 0, 0, read, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(read, block);
}

TEST_F(ClientOfServer, CallsRepeatedly)
{
    for (unsigned short n = 0; n < 50; ++n) {
        unsigned long long time = 0;
        int status = -1;
        client.getHoraModulo(n, time, status, ampleTimeout);
        ASSERT_EQ(client.getFault(), 0) << n;
        ASSERT_EQ(time, 5000000000ULL + n);
    }
}

} // namespace
