// The programs shown in the documentation.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>

#include "examplerun.h"

using namespace support;

namespace {

TEST(Readme, ProgramReadsClock)
{
    const SimulatedSlave slave;
    nelka::XmlrpcClient client("127.0.0.1", slave.port(), "eth0", "test", "1.0");
    ASSERT_EQ(client.init(), 0);
    unsigned long long before = 0, after = 0;
    int status = -1;
    client.getHoraModulo(0, before, status, 10000);
    const Finished first = run(builtCommand(FIRST, {std::to_string(slave.port())}));
    client.getHoraModulo(0, after, status, 10000);
    ASSERT_EQ(client.getFault(), 0);

    const std::string words = "fault 0, status 0, clock ";
    ASSERT_TRUE(first.out.starts_with(words)) << first;
    const unsigned long long clock = std::stoull(first.out.substr(words.size()));
    EXPECT_GE(clock, before);
    EXPECT_LE(clock, after);
    EXPECT_EQ(first.status, 0);
}

TEST(Readme, ProgramReportsMissingSlave)
{
    const Finished first = run(builtCommand(FIRST, {std::to_string(ClosedPort().port())}));
    EXPECT_EQ(first.out, "fault -504, status -1, clock 0\n");
    EXPECT_TRUE(first.err.starts_with("no answer: ")) << first;
    EXPECT_EQ(first.status, 1);
}

TEST(Readme, ProgramChecksItsArgument)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"http"}, {"0"}, {"65536"}, {"8080", "8081"}}) {
        const Finished first = run(builtCommand(FIRST, arguments));
        EXPECT_EQ(first.err, "usage: first PORT\n");
        EXPECT_EQ(first.status, 2);
    }
}

TEST(WritingASlave, SlaveAnswers)
{
    unsigned short port = 0;
    const std::unique_ptr<Program> slave = listening(SLAVE, port);
    nelka::XmlrpcClient client("127.0.0.1", port, "eth0", "test", "1.0");
    ASSERT_EQ(client.init(), 0);
    unsigned long long hora = 0;
    int status = -1;
    client.getHoraModulo(0, hora, status, 10000);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(hora, 42U);
}

} // namespace
