// DlFicheroEsclavo with an xmlrpc-c that accepts its argument list, unlike the real one.
#include <string>
#include <vector>

#include <xmlrpc-c/client.h>

#include "support/fixture.h"

using namespace support;

namespace {

// The answer of the slave, and the arguments of the call.
const char* format = "";
int answered = 0;
std::vector<std::string> called;

} // namespace

// These intercept the library's calls: the program's symbols precede those of xmlrpc-c.
#pragma GCC visibility push(default)
extern "C" void xmlrpc_client_call2f(xmlrpc_env* env, xmlrpc_client*, const char*, const char* method,
                                     xmlrpc_value** result, const char* arguments, ...)
{
    called = {method, arguments};
    *result = xmlrpc_build_value(env, format, static_cast<xmlrpc_int32>(answered));
}
#pragma GCC visibility pop

namespace {

class Deletion : public ClientTest {
protected:
    int status = 111;
    const std::string message = "DlFicheroEsclavo : ruta_archivo : /tmp/a";

    void answer(const char* shape, int value)
    {
        format = shape;
        answered = value;
        client.DlFicheroEsclavo("/tmp/a", status, ampleTimeout);
    }

    void expectLogged(const Lines& afterwards)
    {
        Lines expected{debug(message), armed(ampleTimeout), disarmed()};
        expected.insert(expected.end(), afterwards.begin(), afterwards.end());
        EXPECT_EQ(log.linesWithoutNumbers(), expected);
    }
};

TEST_F(Deletion, DeliversStatus)
{
    answer("(i)", 0);
    EXPECT_EQ(called, (std::vector<std::string>{"BorrarArchivo", "s"}));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(client.getFault(), 0);
    expectLogged({});
}

TEST_F(Deletion, ReportsRefusal)
{
    answer("(i)", 7);
    EXPECT_EQ(status, 7);
    EXPECT_EQ(client.getFault(), 7);
    expectLogged({refusedLine(message, 7), place()});
}

TEST_F(Deletion, WrongShapeIsReportedAndLeavesStatus)
{
    answer("i", 7);
    EXPECT_EQ(status, 111);
    EXPECT_EQ(client.getFault(), XMLRPC_TYPE_ERROR);
    expectLogged({faultLine(message), place()});
}

} // namespace
