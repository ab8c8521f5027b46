// Signals and late alarms in a process with several threads.
#include <array>
#include <atomic>
#include <csignal>
#include <future>
#include <set>
#include <thread>

#include <sys/syscall.h>
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
void (*duringNap)();

} // namespace

// Intercepts the library's sleeps: the program's symbols precede those of the C library.
extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* time, timespec* left)
{
    static const auto real = next<decltype(nanosleep)>("nanosleep");
    ++naps;
    if (duringNap)
        duringNap();
    return real(time, left);
}

namespace {

// The threads in which the handler ran, in order.
std::array<std::atomic<pid_t>, 64> takers;
std::atomic<std::size_t> taken;

void recordTakerAndInterrupt(int signal)
{
    takers[taken++ % takers.size()] = gettid();
    nelka::XmlrpcClient::interruptRpc(signal);
}

void sendTo(pid_t thread, int signal)
{
    syscall(SYS_tgkill, getpid(), thread, signal);
}

// A worker thread makes calls while this one takes signals.
class Threads : public ClientTest {
protected:
    struct Outcome {
        pid_t thread;
        int fault;
        std::chrono::microseconds time;
        std::set<int> held; ///< by the worker after its call
    };

    XmlrpcSpy spy;
    const pid_t self = gettid();

    void SetUp() override
    {
        ClientTest::SetUp();
        taken = 0;
        struct sigaction action = {};
        action.sa_handler = recordTakerAndInterrupt;
        for (const int signal : {SIGALRM, SIGINT, SIGTERM})
            sigaction(signal, &action, nullptr);
    }

    void TearDown() override
    {
        std::signal(SIGTERM, SIG_DFL);
        ClientTest::TearDown();
    }

    std::future<Outcome> callInWorker(int timeout, const std::set<int>& held = {})
    {
        return std::async(std::launch::async, [this, timeout, held] {
            const BlockedSignals mask(held);
            const Stopwatch watch;
            client.updateNTP(timeout);
            return Outcome{gettid(), client.getFault(), watch.elapsed(), blockedSignals()};
        });
    }

    static std::vector<pid_t> threadsThatTook()
    {
        return {takers.begin(), takers.begin() + static_cast<std::ptrdiff_t>(taken.load())};
    }
};

// Signals that cut a call --------------------------------------------------------------------------------------------

struct Passed {
    int signal;
    std::set<int> held; ///< by the worker
};

class PassedSignal : public Threads, public ::testing::WithParamInterface<Passed> {
protected:
    const std::string name = std::string("SIG") + sigabbrev_np(GetParam().signal);

    void expectCutByOneSignal(const Outcome& outcome, const Stopwatch& sent)
    {
        EXPECT_LT(sent.elapsed(), tolerance);
        EXPECT_EQ(outcome.fault, -505);
        EXPECT_EQ(outcome.held, GetParam().held);
        EXPECT_EQ(log.linesWithoutNumbers(),
                  (Lines{debug("updateNTP"), armed(ampleTimeout), signalLine(name), timeoutLine("updateNTP")}));
    }
};

TEST_P(PassedSignal, OfOtherThreadCutsCallAndIsLoggedOnce)
{
    slave.play({silence()});
    std::future<Outcome> worker = callInWorker(ampleTimeout, GetParam().held);
    slave.awaitRequests(1);
    const Stopwatch sent;
    sendTo(self, GetParam().signal);
    const Outcome outcome = worker.get();
    expectCutByOneSignal(outcome, sent);
    EXPECT_EQ(threadsThatTook(), (std::vector<pid_t>{self, outcome.thread}));
}

TEST_P(PassedSignal, OfProcessCutsCallAndIsLoggedOnce)
{
    slave.play({silence()});
    std::future<Outcome> worker = callInWorker(ampleTimeout, GetParam().held);
    slave.awaitRequests(1);
    const Stopwatch sent;
    kill(getpid(), GetParam().signal);
    expectCutByOneSignal(worker.get(), sent);
}

TEST_P(PassedSignal, OfProcessBesideBusyThreadsCutsCallAndIsLoggedOnce)
{
    slave.play({silence()});
    const BusyThreads others(8);
    std::future<Outcome> worker = callInWorker(ampleTimeout, GetParam().held);
    slave.awaitRequests(1);
    const Stopwatch sent;
    kill(getpid(), GetParam().signal);
    expectCutByOneSignal(worker.get(), sent);
}

INSTANTIATE_TEST_SUITE_P(Signals, PassedSignal,
                         ::testing::Values(Passed{SIGINT, {}}, Passed{SIGALRM, {}}, Passed{SIGINT, {SIGALRM, SIGINT}},
                                           Passed{SIGALRM, {SIGALRM, SIGINT}}, Passed{SIGINT, {SIGINT, SIGUSR1}}),
                         [](const auto& passed) {
                             std::string name = sigabbrev_np(passed.param.signal);
                             for (const int held : passed.param.held)
                                 name += std::string("Holding") + sigabbrev_np(held);
                             return name;
                         });

TEST_F(Threads, SignalOfCallingThreadIsNotPassedOn)
{
    slave.play({silence()});
    std::atomic<pid_t> worker = 0;
    std::future<void> call = std::async(std::launch::async, [this, &worker] {
        worker = gettid();
        client.updateNTP(ampleTimeout);
    });
    slave.awaitRequests(1);
    sendTo(worker, SIGINT);
    call.get();
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(threadsThatTook(), std::vector<pid_t>{worker});
    EXPECT_EQ(count(signalLine("SIGINT")), 1);
}

TEST_F(Threads, EachOfManySignalsIsLoggedOnceAndCutsCall)
{
    constexpr int rounds = 50;
    for (int i = 0; i < rounds; ++i) {
        slave.play({silence()});
        std::future<Outcome> worker = callInWorker(ampleTimeout);
        slave.awaitRequests(1);
        const Stopwatch sent;
        sendTo(self, SIGINT);
        ASSERT_EQ(worker.get().fault, -505);
        ASSERT_LT(sent.elapsed(), tolerance);
    }
    EXPECT_EQ(count(signalLine("SIGINT")), rounds);
}

// Signals that are not passed on -------------------------------------------------------------------------------------

TEST_F(Threads, OtherSignalRoutedToHandlerCutsCallAndIsLoggedOnce)
{
    slave.play({silence()});
    std::future<Outcome> worker = callInWorker(ampleTimeout);
    slave.awaitRequests(1);
    const Stopwatch sent;
    sendTo(self, SIGTERM);
    const Outcome outcome = worker.get();
    EXPECT_LT(sent.elapsed(), tolerance);
    EXPECT_EQ(outcome.fault, -505);
    EXPECT_EQ(threadsThatTook(), (std::vector<pid_t>{self, outcome.thread}));
    EXPECT_EQ(count(signalLine("SIGALRM")), 0);
    EXPECT_EQ(count(error("Internal error: signal of class 15 caught even though we didn't set up a handler for that "
                          "class\n")),
              1);
}

TEST_F(Threads, SignalBetweenCallsStaysInItsThread)
{
    slave.play({replyArray({xml::i4(0)})});
    const Outcome outcome = callInWorker(ampleTimeout).get();
    ASSERT_EQ(outcome.fault, 0);
    for (const int signal : {SIGINT, SIGALRM})
        std::raise(signal);
    EXPECT_EQ(threadsThatTook(), (std::vector<pid_t>{self, self}));
    EXPECT_EQ(count(signalLine("SIGINT")), 1);
}

TEST_F(Threads, SignalBetweenCallsIsNotPassedToFormerCaller)
{
    slave.play({replyArray({xml::i4(0)})});
    client.updateNTP(ampleTimeout);
    ASSERT_EQ(client.getFault(), 0);
    const pid_t taker = std::async(std::launch::async, [] {
                            std::raise(SIGINT);
                            return gettid();
                        }).get();
    EXPECT_EQ(threadsThatTook(), std::vector<pid_t>{taker});
    EXPECT_EQ(count(signalLine("SIGINT")), 1);
}

TEST_F(Threads, SignalAfterCutCallStaysInItsThread)
{
    slave.play({silence()});
    EXPECT_EQ(callInWorker(50).get().fault, -505);
    slave.play({serverError()});
    EXPECT_EQ(callInWorker(ampleTimeout).get().fault, -504);
    slave.play({replyArray({})});
    std::async(std::launch::async, [this] {
        std::string text;
        int status = 0;
        EXPECT_THROW(client.getAlarmasEstadoControlador(text, status, ampleTimeout), std::logic_error);
    }).get();
    taken = 0;
    std::raise(SIGINT);
    EXPECT_EQ(threadsThatTook(), std::vector<pid_t>{self});
}

TEST_F(Threads, ObjectsTakeTurnsInThreads)
{
    nelka::XmlrpcClient other("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    ASSERT_EQ(other.init(), 0);
    slave.play({silence()});
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(callInWorker(50).get().fault, -505);
        other.updateNTP(50);
        EXPECT_EQ(other.getFault(), -505);
    }
}

// Late alarms --------------------------------------------------------------------------------------------------------

class LateAlarm : public Threads, public ::testing::WithParamInterface<std::set<int>> {};

INSTANTIATE_TEST_SUITE_P(Masks, LateAlarm, ::testing::Values(std::set<int>{}, std::set<int>{SIGALRM, SIGINT}));

// A call that fails immediately leaves its alarm of a millisecond behind, and the next call begins at about that time.
TEST_P(LateAlarm, OfEarlierCallNeverCutsNextCallBesideBusyThreads)
{
    constexpr int tries = 1000;
    slave.play({replyArray({xml::i4(0)})});
    const ClosedPort closed;
    nelka::XmlrpcClient lost("127.0.0.1", closed.port(), "eth1", "app", "1.0");
    ASSERT_EQ(lost.init(), 0);
    client.setupSignalHandlers();
    const BusyThreads others(4);
    const BlockedSignals held(GetParam());
    int cut = 0;
    std::ptrdiff_t alarms = 0;
    for (int i = 0; i < tries; ++i) {
        log.clear();
        lost.updateNTP(1);
        while (timerLeft() > std::chrono::microseconds(i % 8)) {
        }
        client.updateNTP(ampleTimeout);
        cut += client.getFault() != 0;
        alarms += count(signalLine("SIGALRM"));
    }
    EXPECT_EQ(cut, 0) << "of " << tries;
    EXPECT_GT(alarms, tries / 20);
}

TEST_F(Threads, FirstCallOfProcessWaitsForNoAlarm)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a process without calls
    EXPECT_EXIT(
        {
            slave.play({replyArray({xml::i4(0)})});
            client.updateNTP(ampleTimeout);
            _exit(client.getFault() == 0 ? naps.load() : 255);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(Threads, CallAfterTimeoutWaitsForNoAlarm)
{
    slave.play({silence()});
    client.updateNTP(20);
    ASSERT_EQ(client.getFault(), -505);
    slave.play({replyArray({xml::i4(0)})});
    naps = 0;
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(naps, 0);
}

void await(const std::atomic<bool>& event)
{
    for (const Stopwatch watch; !event && watch.elapsed() < 10s;)
        std::this_thread::yield();
}

TEST_F(Threads, CallWaitsForAlarmHandledByOtherThread)
{
    static std::atomic<bool> stalled, released, handled;
    stalled = released = handled = false;
    const BlockedSignals held({SIGALRM, SIGINT});
    slave.play({serverError(), replyArray({xml::i4(0)})});
    client.updateNTP(500);
    ASSERT_EQ(client.getFault(), -504);
    LogRecorder::duringLogCall = [] {
        if (gettid() == getpid())
            return;
        stalled = true;
        await(released);
    };
    std::thread taker([] {
        sigset_t none;
        sigemptyset(&none);
        sigsuspend(&none);
        handled = true;
    });
    await(stalled);

    // It goes on while the call waits for it, or else during the call.
    duringNap = [] {
        released = true;
        await(handled);
    };
    spy.beforeCall = duringNap;
    client.updateNTP(ampleTimeout);
    duringNap = nullptr;
    LogRecorder::duringLogCall = nullptr;
    taker.join();
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(count(signalLine("SIGALRM")), 1);
}

} // namespace
