#include "support/fixture.h"

using namespace support;

namespace {

class Probe : public ClientTest {};

TEST_F(Probe, AsksForTenAndFiveAndPrintsTheAnswer)
{
    slave.play({replyArray({xml::i4(15)})});
    ::testing::internal::CaptureStdout();
    client.sampleadd(ampleTimeout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "RESULTADO 15");

    ASSERT_EQ(slave.calls().size(), 1U);
    EXPECT_EQ(slave.calls()[0].method, "sample.add");
    EXPECT_EQ(slave.calls()[0].parameters, (std::vector<std::string>{"i4 10", "i4 5"}));
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (std::vector<LogLine>{armed(ampleTimeout), disarmed(), {LOG_INFO, "Resultado 15\n"}}));
}

TEST_F(Probe, OfASilentSlaveEndsWithTheTimeoutAskedFor)
{
    slave.play({silence()});
    client.sampleadd(100);
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(log.linesWithoutNumbers(), (std::vector<LogLine>{armed(100),
                                                               {LOG_NOTICE, "SIGALRM signal received. interrupt 0"},
                                                               timeoutLine("sampleadd : host : 127.0.0.1")}));
}

} // namespace
