// The transport's time limit, if no alarm comes first.
#include "support/fixture.h"
#include "support/signals.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

class TransportLimit : public ClientTest, public ::testing::WithParamInterface<int> {};

TEST_P(TransportLimit, EndsCallWithoutAlarm)
{
    slave.play({silence()});
    const Stopwatch watch;
    client.updateNTP(GetParam());
    EXPECT_GE(watch.elapsed(), 16s);
    EXPECT_LE(watch.elapsed(), 20s);
    EXPECT_EQ(client.getFault(), -504);
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{debug("updateNTP"), disarmed(), faultLine("updateNTP"), place()}));
}

INSTANTIATE_TEST_SUITE_P(Timeouts, TransportLimit, ::testing::Values(0, 65536));

TEST_F(TransportLimit, PrecedesLongerTimeout)
{
    slave.play({silence()});
    const Stopwatch watch;
    client.updateNTP(60000);
    EXPECT_GE(watch.elapsed(), 16s);
    EXPECT_LE(watch.elapsed(), 20s);
    EXPECT_EQ(client.getFault(), -504);
    EXPECT_GT(timerLeft(), 30s);
}

} // namespace
