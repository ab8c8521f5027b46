// The probe, sampleadd: what it asks, prints and logs.
#include <sys/stat.h>
#include <unistd.h>

#include "support/fixture.h"
#include "support/signals.h"

using namespace support;

namespace {

class Probe : public ClientTest {
protected:
    const std::string message = "sampleadd : host : 127.0.0.1";

    // What the probe writes to standard output.
    std::string printed(int timeout = ampleTimeout)
    {
        ::testing::internal::CaptureStdout();
        client.sampleadd(timeout);
        return ::testing::internal::GetCapturedStdout();
    }
};

TEST_F(Probe, AddsTenAndFiveAndPrintsAnswer)
{
    slave.play({replyArray({xml::i4(15)})});
    EXPECT_EQ(printed(), "RESULTADO 15");

    ASSERT_EQ(slave.calls().size(), 1U);
    EXPECT_EQ(slave.calls()[0].method, "sample.add");
    EXPECT_EQ(slave.calls()[0].parameters, (std::vector<std::string>{"i4 10", "i4 5"}));
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{armed(ampleTimeout), disarmed(), {LOG_INFO, "Resultado 15\n"}}));
}

TEST_F(Probe, AcceptsAnyAnswer)
{
    for (const int answer : {0, 1, 3, -505, 2'147'483'647, -2'147'483'647 - 1}) {
        slave.play({replyArray({xml::i4(answer)})});
        log.clear();
        client.setFault(7);
        EXPECT_EQ(printed(), "RESULTADO " + std::to_string(answer));
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_EQ(log.lines().back(), (LogLine{LOG_INFO, "Resultado " + std::to_string(answer) + "\n"}));
    }
}

TEST_F(Probe, IgnoresFurtherElements)
{
    slave.play({replyArray({xml::i4(15), xml::text("more"), xml::array({})})});
    EXPECT_EQ(printed(), "RESULTADO 15");
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(Probe, DoesNotFlush)
{
    slave.play({replyArray({xml::i4(15)})});
    ::testing::internal::CaptureStdout();
    client.sampleadd(ampleTimeout);
    struct stat captured;
    ASSERT_EQ(fstat(STDOUT_FILENO, &captured), 0);
    EXPECT_EQ(captured.st_size, 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "RESULTADO 15");
}

TEST_F(Probe, SilentSlaveIsTimeout)
{
    slave.play({silence()});
    EXPECT_EQ(printed(100), "");
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{armed(100), signalLine("SIGALRM"), timeoutLine(message)}));
}

TEST_F(Probe, ClosedPortIsTransportFault)
{
    const ClosedPort closed;
    nelka::XmlrpcClient lost("127.0.0.1", closed.port(), "eth1", "app", "1.0");
    ASSERT_EQ(lost.init(), 0);
    log.clear();
    ::testing::internal::CaptureStdout();
    lost.sampleadd(ampleTimeout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(lost.getFault(), -504);
    EXPECT_GT(timerLeft(), std::chrono::seconds(0));
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{armed(ampleTimeout), faultLine(lost, message), place()}));
}

TEST_F(Probe, WrongShapeIsDecodingFault)
{
    struct Wrong {
        Step reply;
        int fault;
    };
    const std::vector<Wrong> replies{{reply(xml::i4(15)), -501},
                                     {replyArray({}), -502},
                                     {replyArray({xml::text("15")}), -501},
                                     {replyArray({xml::i8(15)}), -501},
                                     {replyArray({xml::boolean(true)}), -501}};
    for (const Wrong& wrong : replies) {
        slave.play({wrong.reply});
        log.clear();
        EXPECT_EQ(printed(), "");
        EXPECT_EQ(client.getFault(), wrong.fault);
        EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
        EXPECT_EQ(log.linesWithoutNumbers(), (Lines{armed(ampleTimeout), disarmed(), faultLine(message), place()}));
    }
}

} // namespace
