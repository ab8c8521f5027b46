// Signals before, during and beside a call, and what the application does with them.
#include <atomic>
#include <csignal>
#include <functional>
#include <future>
#include <thread>

#include <poll.h>
#include <sched.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "support/busythreads.h"
#include "support/fixture.h"
#include "support/interpose.h"
#include "support/signals.h"
#include "support/xmlrpcspy.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

const auto tolerance = lateness();

std::atomic<int> naps;
void (*duringSetitimer)();

} // namespace

// These intercept the library's waits and timers: the program's symbols precede those of the C library.
extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* time, timespec* left)
{
    static const auto real = next<decltype(nanosleep)>("nanosleep");
    ++naps;
    return real(time, left);
}

extern "C" __attribute__((visibility("default"))) int sigtimedwait(const sigset_t* signals, siginfo_t* taken,
                                                                   const timespec* time)
{
    static const auto real = next<decltype(sigtimedwait)>("sigtimedwait");
    ++naps;
    return real(signals, taken, time);
}

extern "C" __attribute__((visibility("default"))) int setitimer(__itimer_which_t which, const itimerval* value,
                                                                itimerval* former) noexcept
{
    static const auto real = next<decltype(setitimer)>("setitimer");
    if (duringSetitimer)
        duringSetitimer();
    return real(which, value, former);
}

namespace {

// Runs an action in each log call, numbered from 0, or in one of them.
class DuringLogCall {
public:
    explicit DuringLogCall(std::function<void(int)> action)
    {
        calls = 0;
        todo = std::move(action);
        LogRecorder::duringLogCall = [] { todo(calls++); };
    }
    DuringLogCall(int number, const std::function<void()>& action)
        : DuringLogCall([number, action](int call) {
              if (call == number)
                  action();
          })
    {
    }
    ~DuringLogCall() { LogRecorder::duringLogCall = nullptr; }
    DuringLogCall(const DuringLogCall&) = delete;
    DuringLogCall& operator=(const DuringLogCall&) = delete;

private:
    static inline std::atomic<int> calls;
    static inline std::function<void(int)> todo;
};

class Signals : public ClientTest {
protected:
    XmlrpcSpy spy;

    void TearDown() override
    {
        duringSetitimer = nullptr;
        std::signal(SIGINT, SIG_DFL);
        ClientTest::TearDown();
    }

    // Makes a call that nobody answers, which must end immediately.
    void expectCutAtOnce()
    {
        slave.play({silence()});
        const Stopwatch watch;
        client.updateNTP(2000);
        EXPECT_LT(watch.elapsed(), tolerance);
        EXPECT_EQ(client.getFault(), -505);
    }

    void expectCutAtOnceBy(const std::function<void()>& action)
    {
        slave.play({silence()});
        Stopwatch sent;
        std::future<void> other = onceAsked(slave, [&] {
            sent.restart();
            action();
        });
        client.updateNTP(2000);
        other.get();
        EXPECT_LT(sent.elapsed(), tolerance);
        EXPECT_EQ(client.getFault(), -505);
    }

    void expectAnswered()
    {
        replyWell();
        client.updateNTP(ampleTimeout);
        EXPECT_EQ(client.getFault(), 0);
    }

    // Makes a call during which the process gets a signal.
    void expectAnsweredDespite(int signal)
    {
        slave.play({delayed(replyArray({xml::i4(0)}), 100ms)});
        std::future<void> other = onceAsked(slave, [signal] { kill(getpid(), signal); });
        client.updateNTP(ampleTimeout);
        other.get();
        EXPECT_EQ(client.getFault(), 0);
    }
};

sigset_t interrupts()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    return signals;
}

void passTime(std::chrono::milliseconds time)
{
    for (const Stopwatch watch; watch.elapsed() < time;)
        poll(nullptr, 0, 1);
}

// SIGINT blocked by the application --------------------------------------------------------------------------------

TEST_F(Signals, BlockedSigintIsReadFromSignalfd)
{
    const BlockedSignals held({SIGINT});
    const sigset_t signals = interrupts();
    const int descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    ASSERT_GE(descriptor, 0);
    expectAnsweredDespite(SIGINT);
    signalfd_siginfo taken = {};
    EXPECT_EQ(read(descriptor, &taken, sizeof taken), static_cast<ssize_t>(sizeof taken));
    EXPECT_EQ(taken.ssi_signo, static_cast<unsigned>(SIGINT));
    close(descriptor);
    EXPECT_EQ(count(signalLine("SIGINT")), 0);
}

TEST_F(Signals, BlockedSigintGoesToWaitingThread)
{
    const BlockedSignals held({SIGINT});
    std::future<int> waiting = std::async(std::launch::async, [] {
        const sigset_t signals = interrupts();
        const timespec patience = {10, 0};
        static const auto real = next<decltype(sigtimedwait)>("sigtimedwait");
        return real(&signals, nullptr, &patience);
    });
    expectAnsweredDespite(SIGINT);
    EXPECT_EQ(waiting.get(), SIGINT);
}

TEST_F(Signals, BlockedSigintArrivesAfterTransaction)
{
    {
        const BlockedSignals transaction({SIGINT});
        expectAnsweredDespite(SIGINT);
        EXPECT_EQ(count(signalLine("SIGINT")), 0);
    }
    EXPECT_EQ(log.lines().back(), signalLine("SIGINT"));
}

// interruptRpc() called from another thread ------------------------------------------------------------------------

TEST_F(Signals, InterruptRpcOfOtherThreadCutsCallWithSigintIgnored)
{
    std::signal(SIGINT, SIG_IGN);
    expectCutAtOnceBy([] { nelka::XmlrpcClient::interruptRpc(SIGINT); });
    EXPECT_EQ(count(signalLine("SIGINT")), 1);
}

TEST_F(Signals, InterruptRpcOfOtherThreadCutsCallWithSigintDefault)
{
    std::signal(SIGINT, SIG_DFL);
    expectCutAtOnceBy([] { nelka::XmlrpcClient::interruptRpc(SIGINT); });
    EXPECT_EQ(count(signalLine("SIGINT")), 1);
}

TEST_F(Signals, InterruptRpcOfOtherThreadKillsNothingWithSigalrmDefault)
{
    std::signal(SIGALRM, SIG_DFL);
    slave.play({delayed(replyArray({xml::i4(0)}), 100ms)});
    std::future<void> other = onceAsked(slave, [] { nelka::XmlrpcClient::interruptRpc(SIGINT); });
    client.updateNTP(0);
    other.get();
    EXPECT_EQ(client.getFault(), -505);
}

// Alarms that never come -------------------------------------------------------------------------------------------

constexpr int shortTimeout = 200;

void expectNoNap(nelka::XmlrpcClient& client)
{
    naps = 0;
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(naps, 0);
}

// Cancels an alarm that the library must assume to have been sent.
void loseAnAlarm()
{
    alarm(0);
    passTime(2ms * shortTimeout);
}

TEST_F(Signals, CallAfterCancelledAlarmDoesNotWait)
{
    fail(shortTimeout);
    loseAnAlarm();
    replyWell();
    expectNoNap(client);
}

TEST_F(Signals, DisarmingTakesAlarmThatNoThreadTook)
{
    const BlockedSignals held({SIGALRM});
    fail(shortTimeout);
    passTime(2ms * shortTimeout);
    EXPECT_EQ(count(signalLine("SIGALRM")), 0);
    client.set_timer(0);
    EXPECT_EQ(count(signalLine("SIGALRM")), 1);
    EXPECT_EQ(pendingSignals(), std::set<int>{});
}

TEST_F(Signals, LostAlarmIsForgottenInTime)
{
    fail(shortTimeout);
    loseAnAlarm();
    replyWell();
    client.updateNTP(shortTimeout);
    ASSERT_EQ(client.getFault(), 0);
    passTime(3500ms);
    expectCutAtOnceBy([] { kill(getpid(), SIGALRM); });
}

TEST_F(Signals, LostAlarmsDoNotMakeLaterOneCutCall)
{
    for (int calls = 0; calls < 4; ++calls) {
        fail(shortTimeout);
        loseAnAlarm();
    }
    expectAnsweredDespite(SIGALRM);
    EXPECT_EQ(count(signalLine("SIGALRM")), 1);
}

TEST_F(Signals, CallAfterAlarmTakenByApplicationDoesNotWait)
{
    static std::atomic<bool> rung;
    rung = false;
    fail(shortTimeout);
    std::signal(SIGALRM, [](int) { rung = true; });
    for (const Stopwatch watch; !rung && watch.elapsed() < 10s;)
        poll(nullptr, 0, 1);
    replyWell();
    expectNoNap(client);
}

TEST_F(Signals, FirstCallOfForkedChildDoesNotWait)
{
    fail(shortTimeout);
    replyWell();
    Child child([this] {
        passTime(2ms * shortTimeout);
        // The descriptor of the connection is shared with the parent.
        nelka::XmlrpcClient own("127.0.0.1", slave.port(), "eth1", "app", "1.0");
        if (own.init() != 0)
            _exit(255);
        naps = 0;
        own.updateNTP(ampleTimeout);
        _exit(own.getFault() == 0 ? naps.load() : 254);
    });
    EXPECT_EQ(child.end(30s), 0);
}

// Alarms from elsewhere --------------------------------------------------------------------------------------------

// Ten times: leaves an alarm behind that another thread is still logging when the next call begins.
class MisleadingAlarm : public Signals {
protected:
    void expectNoLateAlarmToCut(const std::function<void()>& leaveAlarm)
    {
        static pid_t slow;
        slow = gettid();
        std::atomic<int> cut = 0;
        std::atomic<bool> done = false;
        LogRecorder::duringLogCall = [] {
            if (gettid() == slow)
                passTime(10ms);
        };
        std::future<void> calls = apart([&] {
            for (int i = 0; i < 10; ++i) {
                leaveAlarm();
                while (timerLeft() > 0ms) {
                }
                slave.play({delayed(replyArray({xml::i4(0)}), 40ms)});
                client.updateNTP(ampleTimeout);
                cut += client.getFault() != 0;
            }
            done = true;
        });
        while (!done) // this thread takes the alarms
            poll(nullptr, 0, 100);
        calls.get();
        LogRecorder::duringLogCall = nullptr;
        EXPECT_EQ(cut, 0);
        EXPECT_GE(count(signalLine("SIGALRM")) + count(signalLine("SIGALRM", 1)), 10);
    }
};

TEST_F(MisleadingAlarm, FromElsewhereIsNotTakenForTimer)
{
    expectNoLateAlarmToCut([this] {
        slave.play({serverError()});
        client.updateNTP(20);
        nelka::XmlrpcClient::interruptRpc(SIGALRM);
    });
}

TEST_F(MisleadingAlarm, OfEarlierTimersIsNotTakenForLast)
{
    expectNoLateAlarmToCut([this] {
        for (int earlier = 0; earlier < 2; ++earlier) {
            client.set_timer(1);
            passTime(30ms);
        }
        client.set_timer(1);
    });
}

// SIGINT at the beginning of a call --------------------------------------------------------------------------------

constexpr int debugLine = 0, armingLine = 1;

TEST_F(Signals, SigintInDebugLineIsLoggedAndCutsNothing)
{
    const DuringLogCall sigint(debugLine, [] { std::raise(SIGINT); });
    expectAnswered();
    EXPECT_EQ(count(signalLine("SIGINT")), 1);
}

TEST_F(Signals, SigintInArmingLineCutsCallImmediately)
{
    const DuringLogCall sigint(armingLine, [] { std::raise(SIGINT); });
    expectCutAtOnce();
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug("updateNTP"), armed(2000), signalLine("SIGINT"), timeoutLine("updateNTP")}));
}

TEST_F(Signals, SigintOfOtherThreadInArmingLineCutsCallImmediately)
{
    const DuringLogCall sigint(armingLine, [] { std::async(std::launch::async, [] { std::raise(SIGINT); }).get(); });
    expectCutAtOnce();
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug("updateNTP"), armed(2000), signalLine("SIGINT"), timeoutLine("updateNTP")}));
}

TEST_F(Signals, SigintWhileTimerIsSetCutsCallImmediately)
{
    duringSetitimer = [] {
        duringSetitimer = nullptr;
        std::raise(SIGINT);
    };
    expectCutAtOnce();
}

TEST_F(Signals, SigintOfOtherThreadWhileTimerIsSetCutsCallImmediately)
{
    duringSetitimer = [] {
        duringSetitimer = nullptr;
        std::async(std::launch::async, [] { std::raise(SIGINT); }).get();
    };
    expectCutAtOnce();
}

TEST_F(Signals, SigintBeforeRequestCutsCallImmediately)
{
    spy.beforeCall = [] { std::raise(SIGINT); };
    expectCutAtOnce();
}

TEST_F(Signals, SigintOfOtherThreadBeforeRequestCutsCallImmediately)
{
    spy.beforeCall = [] { std::async(std::launch::async, [] { std::raise(SIGINT); }).get(); };
    expectCutAtOnce();
}

TEST_F(Signals, RunningCallIsCutDespiteInitOfOtherObject)
{
    nelka::XmlrpcClient other("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    spy.beforeCall = [&other] {
        std::raise(SIGINT);
        std::async(std::launch::async, [&other] { ASSERT_EQ(other.init(), 0); }).get();
    };
    expectCutAtOnce();
}

// Signals outside calls --------------------------------------------------------------------------------------------

class SignalInSetTimer : public Signals, public ::testing::WithParamInterface<int> {
protected:
    const LogLine expected = signalLine(std::string("SIG") + sigabbrev_np(GetParam()));
};

TEST_P(SignalInSetTimer, IsLoggedOnceTimerIsSet)
{
    duringSetitimer = [] { std::raise(GetParam()); };
    client.set_timer(60000);
    EXPECT_EQ(log.lines(), (Lines{armed(60000), expected}));
}

TEST_P(SignalInSetTimer, OfOtherThreadIsLoggedOnceTimerIsSet)
{
    duringSetitimer = [] { std::async(std::launch::async, [] { std::raise(GetParam()); }).get(); };
    client.set_timer(60000);
    EXPECT_EQ(log.lines(), (Lines{armed(60000), expected}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, SignalInSetTimer, ::testing::Values(SIGINT, SIGALRM),
                         [](const auto& kind) { return std::string(sigabbrev_np(kind.param)); });

// Many signals, and slow lines ---------------------------------------------------------------------------------------

class ManySignals : public Signals {
protected:
    std::ptrdiff_t logged() const { return count(signalLine("SIGINT", 0)) + count(signalLine("SIGINT", 1)); }

    // Raises that many signals during one log line of the library.
    void setTimerWithSignals(int signals)
    {
        const DuringLogCall during(0, [signals] {
            for (int raised = 0; raised < signals; ++raised)
                std::raise(SIGINT);
        });
        client.set_timer(0);
    }
};

TEST_F(ManySignals, BeyondRecordsAreLoggedToo)
{
    setTimerWithSignals(100);
    EXPECT_EQ(logged(), 100);
}

TEST_F(ManySignals, HoldNothingUpUntilTheyAllHaveTheirLines)
{
    setTimerWithSignals(5000);
    EXPECT_GT(logged(), 0);
    EXPECT_LT(logged(), 1000);
    for (int exits = 0; exits < 50; ++exits)
        client.set_timer(0);
    EXPECT_EQ(logged(), 5000);
}

TEST_F(ManySignals, DuringLinesOfEarlierOnesAreLoggedBeforeLibraryIsLeft)
{
    const DuringLogCall during([](int call) {
        if (call < 4)
            std::raise(SIGINT);
    });
    client.set_timer(0);
    EXPECT_EQ(logged(), 4);
}

class SlowLine : public ManySignals {
protected:
    // Sets the timer while another thread logs a signal, until `mayEnd` allows it. Returns the duration.
    std::chrono::microseconds setTimerBesideALine(const std::function<bool()>& mayEnd)
    {
        std::promise<void> begun;
        const DuringLogCall during([&](int call) {
            if (call == 0)
                std::raise(SIGINT);
            if (call != 1)
                return;
            begun.set_value();
            while (!mayEnd())
                poll(nullptr, 0, 1);
        });
        std::future<void> other = std::async(std::launch::async, [this] { client.set_timer(0); });
        begun.get_future().get();
        naps = 0;
        const Stopwatch watch;
        client.set_timer(0);
        const auto taken = watch.elapsed();
        returned = true;
        other.get();
        return taken;
    }

    std::atomic<bool> returned{false};
};

TEST_F(SlowLine, OfAnotherThreadIsWaitedFor)
{
    bool waited = false;
    setTimerBesideALine([&] {
        waited = naps > 0 && !returned;
        return waited || returned;
    });
    EXPECT_TRUE(waited);
    EXPECT_EQ(logged(), 1);
}

TEST_F(SlowLine, OfAnotherThreadIsNotWaitedForWithoutEnd)
{
    EXPECT_LT(setTimerBesideALine([&] { return returned.load(); }), 15s);
    EXPECT_EQ(logged(), 1);
}

// Threads inside syslog() -------------------------------------------------------------------------------------------

// syslog()'s lock is not recursive: a thread inside it that logs in a signal handler would deadlock.
class ApplicationsLog : public Signals {
protected:
    static inline thread_local int depth;
    static inline std::atomic<int> nested;

    void SetUp() override
    {
        Signals::SetUp();
        nested = 0;
        LogRecorder::duringLogCall = [] {
            nested += depth++ > 0;
            for (const Stopwatch watch; watch.elapsed() < 1ms;) {
            }
            --depth;
        };
    }

    void TearDown() override
    {
        LogRecorder::duringLogCall = nullptr;
        Signals::TearDown();
    }
};

class AnsweredCall : public ApplicationsLog {
protected:
    // Makes calls whose alarm and answer come at about the same time, while this thread, which takes the alarms, logs.
    void expectPeace(int number)
    {
        constexpr auto timeout = 20ms;
        std::atomic<bool> done = false;
        int answered = 0;
        std::future<void> calls = apart([&] {
            for (int i = 0; i < number; ++i) {
                slave.play({delayed(replyArray({xml::i4(0)}), i % 8 * 3ms)});
                client.updateNTP(timeout.count());
                answered += client.getFault() == 0;
                client.set_timer(0);
            }
            done = true;
        });
        while (!done)
            syslog(LOG_INFO, "at work");
        calls.get();
        EXPECT_EQ(nested, 0);
        EXPECT_GT(answered, 0);
        EXPECT_GT(count(signalLine("SIGALRM")), 0);
    }
};

TEST_F(AnsweredCall, DoesNotDisturbApplicationsLog)
{
    expectPeace(100);
}

TEST_F(AnsweredCall, DoesNotDisturbLogOfStarvedThread)
{
    const BusyThreads others(2 * std::thread::hardware_concurrency());
    const sched_param none = {};
    sched_setscheduler(0, SCHED_IDLE, &none);
    expectPeace(50);
    sched_setscheduler(0, SCHED_OTHER, &none);
}

// What the application can do --------------------------------------------------------------------------------------

TEST_F(ApplicationsLog, IsNotDisturbedAfterFaultWithTimerDisarmed)
{
    fail(1000);
    client.set_timer(0);
    for (const Stopwatch watch; watch.elapsed() < 1200ms;)
        syslog(LOG_INFO, "at work");
    EXPECT_EQ(nested, 0);
    EXPECT_EQ(count(signalLine("SIGALRM")), 0);
}

TEST_F(ApplicationsLog, IsNotDisturbedWithBothSignalsBlocked)
{
    fail(shortTimeout);
    {
        const BlockedSignals held({SIGALRM, SIGINT});
        kill(getpid(), SIGINT);
        while (pendingSignals() != std::set<int>{SIGALRM, SIGINT})
            syslog(LOG_INFO, "at work");
    }
    EXPECT_EQ(nested, 0);
    EXPECT_EQ(count(signalLine("SIGINT")) + count(signalLine("SIGINT", 1)), 1);
    EXPECT_EQ(count(signalLine("SIGALRM")) + count(signalLine("SIGALRM", 1)), 1);
}

TEST_F(Signals, TimerDisarmedBeforeExecDoesNotKillProgram)
{
    Child child([this] {
        fail(300);
        client.set_timer(0);
        execlp("sleep", "sleep", "0.6", static_cast<char*>(nullptr));
    });
    EXPECT_EQ(child.end(30s), 0);
}

} // namespace
