// Late alarms of earlier calls, with a slow log. Built twice: with few and with many alarms.
#include <atomic>
#include <csignal>
#include <future>
#include <iostream>
#include <ostream>
#include <thread>

#include <poll.h>
#include <sched.h>
#include <unistd.h>

#include "support/busythreads.h"
#include "support/fixture.h"
#include "support/signals.h"
#include "support/xmlrpcspy.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

// The duration of every line.
class SlowLog {
public:
    explicit SlowLog(std::chrono::milliseconds line)
    {
        length = line;
        LogRecorder::duringLogCall = [] {
            for (const Stopwatch watch; watch.elapsed() < length.load();)
                poll(nullptr, 0, static_cast<int>(length.load().count()));
        };
    }
    ~SlowLog() { LogRecorder::duringLogCall = nullptr; }
    SlowLog(const SlowLog&) = delete;
    SlowLog& operator=(const SlowLog&) = delete;

private:
    static inline std::atomic<std::chrono::milliseconds> length;
};

/// The thread that takes the alarms.
enum class Taker { caller, other, starved };

struct Case {
    Taker taker;
    std::chrono::milliseconds line;
    int alarms;
};

std::ostream& operator<<(std::ostream& out, const Case& each)
{
    static constexpr const char* names[] = {"Caller", "Other", "Starved"};
    return out << names[static_cast<int>(each.taker)] << each.line.count() << "ms";
}

std::atomic<int> alarms;

void countAndInterrupt(int signal)
{
    ++alarms;
    nelka::XmlrpcClient::interruptRpc(signal);
}

// The kernel gives an alarm to the main thread, unless that blocks it.
class LateAlarm : public ClientTest, public ::testing::WithParamInterface<Case> {
protected:
    const ClosedPort closed;
    nelka::XmlrpcClient lost{"127.0.0.1", closed.port(), "eth1", "app", "1.0"};
    std::atomic<bool> done = false;
    int cut = 0;
    int calls = 0;

    void SetUp() override
    {
        ClientTest::SetUp();
        ASSERT_EQ(lost.init(), 0);
        for (const int signal : {SIGALRM, SIGINT})
            std::signal(signal, countAndInterrupt);
        alarms = 0;
        slave.play({replyArray({xml::i4(0)})});
    }

    // A failed call leaves its alarm behind. It comes at any moment between the start of the next call and its arming,
    // two lines later.
    void provoke()
    {
        const std::chrono::milliseconds timeout = 1ms + 2 * GetParam().line;
        for (; alarms < GetParam().alarms && calls < 20 * GetParam().alarms; ++calls) {
            lost.updateNTP(static_cast<int>(timeout.count()));
            const SlowLog slow(GetParam().line);
            const auto left = std::chrono::microseconds(calls % 8) + calls % 8 * GetParam().line / 4;
            while (timerLeft() > left)
                poll(nullptr, 0, timerLeft() > left + 2ms);
            client.updateNTP(ampleTimeout);
            cut += client.getFault() != 0;
        }
        done = true;
    }

    void provokeInAnotherThread()
    {
        std::future<void> caller = apart([this] { provoke(); });
        while (!done)
            poll(nullptr, 0, 50);
        caller.get();
    }

    void provokeBesideAStarvedOne()
    {
        const BusyThreads others(2 * std::thread::hardware_concurrency());
        std::future<void> caller = apart([this] { provoke(); });
        const sched_param none = {};
        sched_setscheduler(0, SCHED_IDLE, &none);
        while (!done) {
        }
        sched_setscheduler(0, SCHED_OTHER, &none);
        caller.get();
    }
};

TEST_P(LateAlarm, OfRefusedCallNeverCutsNextCall)
{
    if (GetParam().taker == Taker::caller)
        provoke();
    else if (GetParam().taker == Taker::other)
        provokeInAnotherThread();
    else
        provokeBesideAStarvedOne();
    std::cout << cut << " of " << calls << " calls cut, beside " << alarms << " late alarms\n";
    EXPECT_EQ(cut, 0);
    EXPECT_GE(alarms, GetParam().alarms);
}

INSTANTIATE_TEST_SUITE_P(Provoked, LateAlarm,
                         ::testing::Values(Case{Taker::caller, 0ms, ALARMS}, Case{Taker::caller, 5ms, ALARMS},
                                           Case{Taker::caller, 50ms, SLOW_ALARMS}, Case{Taker::other, 0ms, ALARMS},
                                           Case{Taker::other, 5ms, ALARMS}, Case{Taker::other, 50ms, SLOW_ALARMS},
                                           Case{Taker::starved, 0ms, ALARMS}, Case{Taker::starved, 5ms, ALARMS},
                                           Case{Taker::starved, 50ms, SLOW_ALARMS}),
                         ::testing::PrintToStringParamName());

// Deadlines --------------------------------------------------------------------------------------------------------

// One line takes longer than a call may be late.
class DeadlineBesideSlowLog : public ClientTest {
protected:
    static constexpr auto timeout = 100ms;
    static constexpr auto line = 600ms;

    // The time spent in xmlrpc-c.
    std::chrono::microseconds expire()
    {
        XmlrpcSpy spy;
        Stopwatch watch;
        std::chrono::microseconds taken{0};
        spy.beforeCall = [&watch] { watch.restart(); };
        spy.afterCall = [&] { taken = watch.elapsed(); };
        slave.play({silence()});
        const SlowLog slow(line);
        client.updateNTP(timeout.count());
        EXPECT_EQ(client.getFault(), -505);
        return taken;
    }
};

TEST_F(DeadlineBesideSlowLog, HoldsInThreadThatTakesAlarm)
{
    EXPECT_LT(expire(), timeout + lateness());
}

TEST_F(DeadlineBesideSlowLog, HoldsIfOtherThreadTakesAlarm)
{
    std::future<std::chrono::microseconds> taken = std::async(std::launch::async, [this] { return expire(); });
    EXPECT_LT(taken.get(), timeout + lateness());
}

TEST_F(DeadlineBesideSlowLog, HoldsIfLoggingThreadTakesAlarm)
{
    std::atomic<bool> done = false;
    std::future<std::chrono::microseconds> taken = std::async(std::launch::async, [&] {
        const auto time = expire();
        done = true;
        return time;
    });
    while (!done)
        syslog(LOG_INFO, "at work");
    EXPECT_LT(taken.get(), timeout + lateness());
}

} // namespace
