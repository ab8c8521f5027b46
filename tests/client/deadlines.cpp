// How late a call ends if another thread may take its alarm. Built twice: with few and with many expiries.
#include <algorithm>
#include <csignal>
#include <future>
#include <iostream>
#include <set>

#include "support/busythreads.h"
#include "support/fixture.h"
#include "support/signals.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

class Deadline : public ClientTest, public ::testing::WithParamInterface<int> {
protected:
    static constexpr std::size_t busy = 8;
    static constexpr auto timeout = 100ms;

    void SetUp() override
    {
        ClientTest::SetUp();
        slave.play({silence()});
    }

    // Lets calls expire in a thread that blocks `signals`.
    void expectPunctuality(const std::set<int>& signals)
    {
        std::chrono::microseconds worst{0};
        const auto expire = [&] {
            const BlockedSignals held(signals);
            for (int i = 0; i < GetParam(); ++i) {
                const Stopwatch watch;
                client.updateNTP(timeout.count());
                const std::chrono::microseconds late = watch.elapsed() - timeout;
                worst = std::max(worst, late);
                EXPECT_EQ(client.getFault(), -505) << "expiry " << i;
                EXPECT_GE(late, 0ms) << "expiry " << i;
                EXPECT_LT(late, lateness()) << "expiry " << i;
                EXPECT_EQ(blockedSignals(), signals) << "expiry " << i;
            }
        };
        std::async(std::launch::async, expire).get();

        EXPECT_EQ(count(signalLine("SIGALRM")), GetParam());
        std::cout << "worst of " << GetParam() << ": " << worst.count() << " us late\n";
        RecordProperty("worstMicroseconds", static_cast<int>(worst.count()));
    }
};

TEST_P(Deadline, HoldsBesideBusyThreads)
{
    const BusyThreads others(busy);
    expectPunctuality({});
}

TEST_P(Deadline, HoldsWithSignalsBlockedBesideBusyThreads)
{
    const BusyThreads others(busy);
    expectPunctuality({SIGALRM, SIGINT});
}

TEST_P(Deadline, HoldsWithSignalsBlockedInAllThreads)
{
    const BlockedSignals held({SIGALRM, SIGINT});
    const BusyThreads others(busy);
    expectPunctuality({SIGALRM, SIGINT});
}

INSTANTIATE_TEST_SUITE_P(Expiries, Deadline, ::testing::Values(EXPIRIES), ::testing::PrintToStringParamName());

} // namespace
