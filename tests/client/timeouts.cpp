// Time-outs and interruption: the timer, the signal handlers, interrupted calls, leftover timers.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <functional>
#include <stdexcept>

#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include "support/fixture.h"
#include "support/interpose.h"
#include "support/signals.h"
#include "support/xmlrpcspy.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

std::vector<itimerval> timersSet;

} // namespace

// Intercepts the library's timers: the program's symbols precede those of the C library.
extern "C" __attribute__((visibility("default"))) int setitimer(__itimer_which_t which, const itimerval* value,
                                                                itimerval* former) noexcept
{
    static const auto real = next<decltype(setitimer)>("setitimer");
    timersSet.push_back(*value);
    return real(which, value, former);
}

namespace {

const auto tolerance = lateness();

class Timeouts : public ClientTest {
protected:
    XmlrpcSpy spy;

    void SetUp() override
    {
        ClientTest::SetUp();
        timersSet.clear();
    }

    void TearDown() override
    {
        LogRecorder::duringLogCall = nullptr;
        ClientTest::TearDown();
    }
};

// The timer --------------------------------------------------------------------------------------------------------

TEST_F(Timeouts, TimerIsSetInSecondsAndMicrosecondsAndRunsOnce)
{
    struct Case {
        unsigned short milliseconds;
        time_t seconds;
        suseconds_t microseconds;
    };
    for (const Case& each : {Case{1500, 1, 500'000}, Case{999, 0, 999'000}, Case{1000, 1, 0}, Case{1, 0, 1000},
                             Case{65535, 65, 535'000}, Case{0, 0, 0}}) {
        timersSet.clear();
        log.clear();
        client.set_timer(each.milliseconds);
        ASSERT_EQ(timersSet.size(), 1U);
        EXPECT_EQ(timersSet[0].it_value.tv_sec, each.seconds);
        EXPECT_EQ(timersSet[0].it_value.tv_usec, each.microseconds);
        EXPECT_EQ(timersSet[0].it_interval.tv_sec, 0);
        EXPECT_EQ(timersSet[0].it_interval.tv_usec, 0);
        EXPECT_EQ(log.lines().at(0), armed(each.milliseconds));
    }
}

TEST_F(Timeouts, KernelHoldsTimer)
{
    client.set_timer(1500);
    EXPECT_LE(timerLeft(), 1500ms);
    EXPECT_GT(timerLeft(), 1500ms - tolerance);
    client.set_timer(0);
    EXPECT_EQ(timerLeft(), 0ms);
    EXPECT_EQ(log.lines(), (Lines{armed(1500), disarmed()}));
}

TEST_F(Timeouts, TimerNeedsNoInit)
{
    nelka::XmlrpcClient fresh("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    fresh.set_timer(60000);
    EXPECT_GT(timerLeft(), 50s);
}

TEST_F(Timeouts, TimerIsLoggedBeforeItIsSet)
{
    static bool running;
    client.set_timer(60000);
    LogRecorder::duringLogCall = [] { running = timerLeft() > 0ms; };
    client.set_timer(0);
    EXPECT_TRUE(running);
    client.set_timer(60000);
    EXPECT_FALSE(running);
}

TEST_F(Timeouts, TimeoutIsCutToLowSixteenBits)
{
    struct Case {
        int argument;
        int milliseconds;
    };
    fail(60000);
    for (const Case& each : {Case{70000, 4464}, Case{65535, 65535}, Case{-1, 65535}, Case{131072 + 5000, 5000}}) {
        log.clear();
        replyWell();
        std::chrono::microseconds during{};
        spy.beforeCall = [&during] { during = timerLeft(); };
        client.updateNTP(each.argument);
        EXPECT_EQ(log.lines().at(1), armed(each.milliseconds));
        EXPECT_LE(during, std::chrono::milliseconds(each.milliseconds));
        EXPECT_GT(during, std::chrono::milliseconds(each.milliseconds) - tolerance);
    }
}

TEST_F(Timeouts, TimeoutWithZeroLowBitsArmsNoAlarm)
{
    std::chrono::microseconds during{};
    spy.beforeCall = [&during] { during = timerLeft(); };
    for (const int argument : {0, 65536, 131072, -65536}) {
        fail(60000);
        log.clear();
        replyWell();
        client.updateNTP(argument);
        EXPECT_EQ(during, 0s);
        EXPECT_EQ(log.lines(), (Lines{debug("updateNTP"), disarmed(), disarmed()}));
        EXPECT_EQ(client.getFault(), 0);
    }
}

// The handlers -----------------------------------------------------------------------------------------------------

TEST_F(Timeouts, SignalsGoToHandlerWithEmptyMaskAndNoFlags)
{
    // The C library adds this for the kernel.
    constexpr int restorer = 0x04000000;
    for (const int signal : {SIGINT, SIGALRM}) {
        const struct sigaction action = disposition(signal);
        EXPECT_EQ(action.sa_handler, &nelka::XmlrpcClient::interruptRpc);
        EXPECT_EQ(members(action.sa_mask), std::set<int>{});
        EXPECT_EQ(action.sa_flags & ~restorer, 0);
    }
}

TEST_F(Timeouts, OtherSignalsKeepTheirDispositions)
{
    const auto others = {SIGTERM, SIGHUP, SIGPIPE, SIGUSR1, SIGVTALRM, SIGPROF};
    for (const int signal : others)
        std::signal(signal, SIG_DFL);
    EXPECT_EQ(client.resetConn(), 0);
    for (const int signal : others)
        EXPECT_EQ(disposition(signal).sa_handler, SIG_DFL);
}

TEST_F(Timeouts, EveryInitInstallsHandlers)
{
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGALRM, SIG_DFL);
    EXPECT_EQ(client.resetConn(), 0);
    EXPECT_EQ(disposition(SIGINT).sa_handler, &nelka::XmlrpcClient::interruptRpc);
    EXPECT_EQ(disposition(SIGALRM).sa_handler, &nelka::XmlrpcClient::interruptRpc);
}

TEST_F(Timeouts, HandlersCanBeInstalledWithoutInit)
{
    std::signal(SIGINT, SIG_DFL);
    nelka::XmlrpcClient fresh("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    fresh.setupSignalHandlers();
    EXPECT_EQ(disposition(SIGINT).sa_handler, &nelka::XmlrpcClient::interruptRpc);
}

TEST_F(Timeouts, EachSignalIsLoggedOnceWithFormerFlag)
{
    std::raise(SIGALRM);
    std::raise(SIGALRM);
    std::raise(SIGINT);
    EXPECT_EQ(log.lines(), (Lines{signalLine("SIGALRM"), signalLine("SIGALRM", 1), signalLine("SIGINT", 1)}));
    ASSERT_EQ(client.resetConn(), 0);
    log.clear();
    std::raise(SIGINT);
    std::raise(SIGALRM);
    EXPECT_EQ(log.lines(), (Lines{signalLine("SIGINT"), signalLine("SIGALRM", 1)}));
}

TEST_F(Timeouts, OtherSignalRoutedToHandlerIsInternalErrorAndRaisesFlag)
{
    const auto former = std::signal(SIGTERM, &nelka::XmlrpcClient::interruptRpc);
    std::raise(SIGTERM);
    std::signal(SIGTERM, former);
    EXPECT_EQ(log.lines(), (Lines{error("Internal error: signal of class 15 caught even though we didn't set up a "
                                        "handler for that class\n")}));
    EXPECT_EQ(*spy.interruptFlag, 1);
}

TEST_F(Timeouts, ErrnoSurvivesHandler)
{
    LogRecorder::duringLogCall = [] { errno = ENOTCONN; };
    for (const int signal : {SIGALRM, SIGINT}) {
        errno = ERANGE;
        std::raise(signal);
        EXPECT_EQ(errno, ERANGE);
    }
    errno = ERANGE;
    nelka::XmlrpcClient::interruptRpc(SIGTERM);
    EXPECT_EQ(errno, ERANGE);
}

TEST_F(Timeouts, HandlersInterruptBlockingSystemCallForGood)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::atomic<bool> returned = false;
    // Repeatedly, because the first may come before the wait; a wait that goes on ends with the pipe.
    std::future<void> alarms = apart([&] {
        for (int tries = 0; tries < 1000 && !returned; ++tries) {
            kill(getpid(), SIGALRM);
            poll(nullptr, 0, 1);
        }
        close(ends[1]);
    });
    char byte;
    EXPECT_EQ(read(ends[0], &byte, 1), -1);
    EXPECT_EQ(errno, EINTR);
    returned = true;
    alarms.get();
    close(ends[0]);
}

// Interrupted calls ------------------------------------------------------------------------------------------------

TEST_F(Timeouts, SilentSlaveIsLeftAfterTwoSeconds)
{
    slave.play({silence()});
    const Stopwatch watch;
    client.updateNTP(2000);
    EXPECT_GE(watch.elapsed(), 2000ms);
    EXPECT_LT(watch.elapsed(), 2000ms + tolerance);
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(*spy.interruptFlag, 0);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug("updateNTP"), armed(2000), signalLine("SIGALRM"), timeoutLine("updateNTP")}));
}

// How a slave keeps a caller waiting. Each makes a call of 200 ms expire.
struct Stall {
    const char* name;
    Step step;
    std::size_t blockSize;
};

std::ostream& operator<<(std::ostream& out, const Stall& stall)
{
    return out << stall.name;
}

class StalledCall : public ::testing::TestWithParam<Stall> {};

void expectTheDeadlineToHold(unsigned short port, std::size_t blockSize)
{
    nelka::XmlrpcClient client("127.0.0.1", port, "eth1", "app", "1.0");
    ASSERT_EQ(client.init(), 0);
    const Stopwatch watch;
    client.wrFicheroTablasSI(1, 2, std::vector<char>(blockSize, 'x'), 200);
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_GE(watch.elapsed(), 200ms);
    EXPECT_LT(watch.elapsed(), 200ms + tolerance);
}

TEST_P(StalledCall, EndsAtDeadline)
{
    const ScriptedSlave slave({GetParam().step}, 4096);
    expectTheDeadlineToHold(slave.port(), GetParam().blockSize);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, StalledCall,
    ::testing::Values(Stall{"Silence", silence(), 10}, Stall{"Drip", dripped(replyArray({xml::i4(0)}), 1, 20ms), 10},
                      Stall{"HeadersOnly", cutAt(replyArray({xml::i4(0)}), 60, Step::Then::keep), 10},
                      Stall{"RequestThatNobodyReads", deaf(), 8'000'000}),
    ::testing::PrintToStringParamName());

TEST(UnacceptedConnection, EndsAtDeadline)
{
    const BlackHole hole;
    expectTheDeadlineToHold(hole.port(), 10);
}

TEST_F(Timeouts, SigintCutsCallAndLeavesTimerRunning)
{
    slave.play({silence()});
    Stopwatch sent;
    std::future<void> operatorsHand = onceAsked(slave, [&sent] {
        sent.restart();
        kill(getpid(), SIGINT);
    });
    client.updateNTP(ampleTimeout);
    operatorsHand.get();
    EXPECT_LT(sent.elapsed(), tolerance);
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug("updateNTP"), armed(ampleTimeout), signalLine("SIGINT"), timeoutLine("updateNTP")}));
    EXPECT_GT(timerLeft(), 0ms);
}

TEST_F(Timeouts, SigintCutsCallWithoutTimeout)
{
    slave.play({silence()});
    std::future<void> operatorsHand = onceAsked(slave, [] { kill(getpid(), SIGINT); });
    client.updateNTP(0);
    operatorsHand.get();
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(timerLeft(), 0ms);
}

TEST_F(Timeouts, AlarmOfApplicationCutsCall)
{
    slave.play({silence()});
    std::future<void> application = onceAsked(slave, [] { kill(getpid(), SIGALRM); });
    client.updateNTP(ampleTimeout);
    application.get();
    EXPECT_EQ(client.getFault(), -505);
}

TEST_F(Timeouts, CallOfAnyObjectIsCut)
{
    nelka::XmlrpcClient second("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    ASSERT_EQ(second.init(), 0);
    nelka::XmlrpcClient third("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    ASSERT_EQ(third.init(), 0);
    slave.play({silence()});
    for (nelka::XmlrpcClient* each : {&second, &client, &third}) {
        each->updateNTP(50);
        EXPECT_EQ(each->getFault(), -505);
    }
}

// Leftover timers --------------------------------------------------------------------------------------------------

TEST_F(Timeouts, SuccessRefusalAndDecodingFaultDisarmTimer)
{
    for (const Step& answered : {replyArray({xml::i4(0)}), replyArray({xml::i4(3)}), replyArray({})}) {
        slave.play({answered});
        client.updateNTP(ampleTimeout);
        EXPECT_EQ(timerLeft(), 0ms);
        EXPECT_EQ(timersSet.back().it_value.tv_sec, 0);
    }
}

TEST_F(Timeouts, TimerOfFailedCallRunsOnAndRaisesFlag)
{
    fail(1000);
    for (const Stopwatch watch; *spy.interruptFlag == 0 && watch.elapsed() < 5s;)
        poll(nullptr, 0, 10);
    EXPECT_EQ(log.lines().back(), signalLine("SIGALRM"));
    EXPECT_EQ(*spy.interruptFlag, 1);
    EXPECT_EQ(client.getFault(), -504);
    replyWell();
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(Timeouts, TimerOfFailedCallDoesNotCutLongerCall)
{
    fail(1000);
    slave.play({delayed(replyArray({xml::i4(0)}), 1300ms)});
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.lines().back(), disarmed());
}

// The timer is set in microseconds, so that the alarm lands anywhere before the next call's arming.
TEST_F(Timeouts, LateAlarmNeverCutsNextCall)
{
    replyWell();
    constexpr int tries = 5000;
    std::size_t alarms = 0;
    for (int i = 0; i < tries; ++i) {
        const itimerval late{{0, 0}, {0, 1 + i % 40}};
        log.clear();
        setitimer(ITIMER_REAL, &late, nullptr);
        client.updateNTP(ampleTimeout);
        ASSERT_EQ(client.getFault(), 0) << "try " << i;
        for (const LogLine& line : log.lines())
            alarms += line.priority == LOG_NOTICE;
    }
    RecordProperty("alarms", static_cast<int>(alarms));
    EXPECT_GT(alarms, 0U);
}

// Alarms and log calls ---------------------------------------------------------------------------------------------

// Raises both signals inside one log call, and checks that no handler logs before that call has ended.
class Intruder {
public:
    explicit Intruder(int call)
    {
        due = call;
        calls = inside = interrupted = alarms = interrupts = 0;
        LogRecorder::duringLogCall = intrude;
    }
    ~Intruder() { LogRecorder::duringLogCall = nullptr; }
    Intruder(const Intruder&) = delete;
    Intruder& operator=(const Intruder&) = delete;

    static void raiseCounted(int signal)
    {
        int& count = signal == SIGALRM ? alarms : interrupts;
        ++count;
        std::raise(signal);
    }

    static inline int calls, interrupted, alarms, interrupts;

private:
    static void intrude()
    {
        interrupted += inside;
        if (calls++ != due)
            return;
        inside = 1;
        raiseCounted(SIGALRM);
        raiseCounted(SIGINT);
        inside = 0;
    }

    static inline int due, inside;
};

struct Scene {
    const char* name;
    std::function<void(nelka::XmlrpcClient&, ScriptedSlave&, XmlrpcSpy&)> play;
};

std::ostream& operator<<(std::ostream& out, const Scene& scene)
{
    return out << scene.name;
}

class LogCalls : public Timeouts, public ::testing::WithParamInterface<Scene> {
protected:
    std::ptrdiff_t noticesOf(const std::string& signal) const
    {
        const Lines lines = log.lines();
        return std::count_if(lines.begin(), lines.end(), [&signal](const LogLine& line) {
            return line.text.starts_with(signal + " signal received.");
        });
    }
};

TEST_P(LogCalls, AreNeverInterruptedAndHandlersRunOnceAfterwards)
{
    constexpr int most = 20;
    int intrusions = 0;
    for (; intrusions < most; ++intrusions) {
        ASSERT_EQ(client.resetConn(), 0);
        log.clear();
        const Intruder intruder(intrusions);
        GetParam().play(client, slave, spy);
        if (Intruder::calls <= intrusions)
            break;
        EXPECT_EQ(Intruder::interrupted, 0) << "log call " << intrusions;
        EXPECT_EQ(noticesOf("SIGALRM"), Intruder::alarms) << "log call " << intrusions;
        EXPECT_EQ(noticesOf("SIGINT"), Intruder::interrupts) << "log call " << intrusions;
        EXPECT_EQ(blockedSignals(), std::set<int>{}) << "log call " << intrusions;
        client.set_timer(0);
    }
    EXPECT_GT(intrusions, 0);
    EXPECT_LT(intrusions, most);
}

Scene answered(const char* name, const Step& step)
{
    return {name, [step](nelka::XmlrpcClient& client, ScriptedSlave& slave, XmlrpcSpy&) {
                slave.play({step});
                client.updateNTP(60000);
            }};
}

Scene signalled(const char* name, int signal)
{
    return {name, [signal](nelka::XmlrpcClient&, ScriptedSlave&, XmlrpcSpy&) { Intruder::raiseCounted(signal); }};
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, LogCalls,
    ::testing::Values(Scene{"Init",
                            [](nelka::XmlrpcClient& client, ScriptedSlave&, XmlrpcSpy&) { client.resetConn(); }},
                      Scene{"FailedInit",
                            [](nelka::XmlrpcClient& client, ScriptedSlave&, XmlrpcSpy& spy) {
                                spy.failNext(SetupStep::client, -500, "not today");
                                client.resetConn();
                            }},
                      Scene{"NotReady",
                            [](nelka::XmlrpcClient& client, ScriptedSlave&, XmlrpcSpy&) {
                                client.cleanup();
                                client.updateNTP(60000);
                            }},
                      Scene{"Timer",
                            [](nelka::XmlrpcClient& client, ScriptedSlave&, XmlrpcSpy&) {
                                client.set_timer(60000);
                                client.set_timer(0);
                            }},
                      Scene{"Probe",
                            [](nelka::XmlrpcClient& client, ScriptedSlave& slave, XmlrpcSpy&) {
                                slave.play({replyArray({xml::i4(15)})});
                                ::testing::internal::CaptureStdout();
                                client.sampleadd(60000);
                                ::testing::internal::GetCapturedStdout();
                            }},
                      Scene{"FlagRaised",
                            [](nelka::XmlrpcClient& client, ScriptedSlave& slave, XmlrpcSpy& spy) {
                                slave.play({replyArray({xml::i4(0)})});
                                spy.afterCall = [] { Intruder::raiseCounted(SIGALRM); };
                                client.updateNTP(60000);
                                spy.afterCall = nullptr;
                            }},
                      answered("Success", replyArray({xml::i4(0)})), answered("Refusal", replyArray({xml::i4(3)})),
                      answered("DecodingFault", replyArray({})), answered("TransportFault", replyFault(-77, "no hay")),
                      signalled("Alarm", SIGALRM), signalled("Interrupt", SIGINT),
                      Scene{"OtherSignal", [](nelka::XmlrpcClient&, ScriptedSlave&,
                                              XmlrpcSpy&) { nelka::XmlrpcClient::interruptRpc(SIGTERM); }}),
    ::testing::PrintToStringParamName());

// The caller's signal mask -----------------------------------------------------------------------------------------

class CallersMask : public Timeouts, public ::testing::WithParamInterface<std::set<int>> {};

TEST_P(CallersMask, IsAlwaysRestored)
{
    const BlockedSignals held(GetParam());
    std::string text;
    int status = 0;
    const auto expectRestored = [](const char* way) { EXPECT_EQ(blockedSignals(), GetParam()) << way; };

    for (const Step& step : {replyArray({xml::i4(0)}), replyArray({xml::i4(3)}), replyArray({xml::text("")}),
                             replyFault(-77, "no hay"), reply(xml::i4(0))}) {
        slave.play({step});
        client.getAlarmasEstadoControlador(text, status, ampleTimeout);
        expectRestored(step.bytes.c_str());
    }
    slave.play({silence()});
    client.updateNTP(50);
    EXPECT_EQ(client.getFault(), -505);
    expectRestored("time-out");
    replyWell();
    client.updateNTP(0);
    expectRestored("no time-out");
    slave.play({replyArray({})});
    EXPECT_THROW(client.getAlarmasEstadoControlador(text, status, ampleTimeout), std::logic_error);
    expectRestored("exception");
    client.set_timer(100);
    client.set_timer(0);
    expectRestored("timer");
    EXPECT_EQ(client.resetConn(), 0);
    expectRestored("reset");
    client.cleanup();
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), -500);
    expectRestored("not ready");
}

TEST_P(CallersMask, DoesNotPreventDeadline)
{
    const BlockedSignals held(GetParam());
    slave.play({silence()});
    const Stopwatch watch;
    client.updateNTP(100);
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_LT(watch.elapsed(), 100ms + tolerance);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug("updateNTP"), armed(100), signalLine("SIGALRM"), timeoutLine("updateNTP")}));
}

TEST_P(CallersMask, IsOpenedForAlarmOnly)
{
    const BlockedSignals held(GetParam());
    replyWell();
    std::set<int> during;
    spy.beforeCall = [&during] { during = blockedSignals(); };
    client.updateNTP(ampleTimeout);
    std::set<int> others = GetParam();
    others.erase(SIGALRM);
    EXPECT_EQ(during, others);
}

INSTANTIATE_TEST_SUITE_P(Masks, CallersMask,
                         ::testing::Values(std::set<int>{}, std::set<int>{SIGALRM}, std::set<int>{SIGINT},
                                           std::set<int>{SIGALRM, SIGINT},
                                           std::set<int>{SIGALRM, SIGINT, SIGTERM, SIGUSR1, SIGCHLD}));

TEST_F(Timeouts, AlarmPendingBeforeCallIsHandledOnceAndCutsNothing)
{
    const BlockedSignals held({SIGALRM, SIGINT});
    kill(getpid(), SIGALRM);
    replyWell();
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(pendingSignals(), std::set<int>{});
    EXPECT_EQ(slave.requests().size(), 1U);
    EXPECT_EQ(count(signalLine("SIGALRM")), 1);
}

TEST_F(Timeouts, BlockedSigintStaysPending)
{
    const BlockedSignals held({SIGINT});
    kill(getpid(), SIGINT);
    replyWell();
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(pendingSignals(), std::set<int>{SIGINT});
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{debug("updateNTP"), armed(ampleTimeout), disarmed()}));
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    EXPECT_EQ(sigwaitinfo(&interrupts, nullptr), SIGINT);
}

} // namespace
