// Thousands of signals a second, with the C library's own syslog() and time functions.
#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <future>
#include <iostream>
#include <string>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <nelkanet/xmlrpcserver.h>
#include <poll.h>
#include <sys/mman.h>

#include "privatelogtest.h"
#include "support/checked.h"
#include "support/child.h"
#include "support/interpose.h"
#include "support/ports.h"
#include "support/signals.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

std::atomic<long> delivered;

void countOthers(const siginfo_t& signal)
{
    delivered += signal.si_code == SI_KERNEL || signal.si_pid != getpid(); // ours only wake a thread
}

void countAndInterrupt(int signal, siginfo_t* info, void*)
{
    countOthers(*info);
    nelka::XmlrpcClient::interruptRpc(signal);
}

} // namespace

// These intercept the library's sigaction() and its waits for signals: the program's symbols precede those of the C
// library.
extern "C" __attribute__((visibility("default"))) int sigaction(int signal, const struct sigaction* action,
                                                                struct sigaction* former) noexcept
{
    static const auto real = next<decltype(sigaction)>("sigaction");
    if (!action || action->sa_handler != &nelka::XmlrpcClient::interruptRpc)
        return real(signal, action, former);
    struct sigaction counting = *action;
    counting.sa_sigaction = countAndInterrupt;
    counting.sa_flags |= SA_SIGINFO;
    return real(signal, &counting, former);
}

extern "C" __attribute__((visibility("default"))) int sigtimedwait(const sigset_t* signals, siginfo_t* taken,
                                                                   const timespec* time)
{
    static const auto real = next<decltype(sigtimedwait)>("sigtimedwait");
    siginfo_t info = {};
    const int signal = real(signals, &info, time);
    if (signal > 0)
        countOthers(info);
    if (taken)
        *taken = info;
    return signal;
}

namespace {

enum class Reader { quick, stalling };

std::ostream& operator<<(std::ostream& out, Reader reader)
{
    return out << (reader == Reader::quick ? "ReadAtOnce" : "ThatStalls");
}

constexpr auto stall = 20ms;

// Counts the work done during a storm.
class Storm : public PrivateLogTest, public ::testing::WithParamInterface<Reader> {
protected:
    Storm() : PrivateLogTest(replyArray({xml::i4(0)})) {}

    void SetUp() override
    {
        delivered = 0;
        PrivateLogTest::SetUp();
    }

    static std::chrono::seconds length()
    {
        const char* asked = std::getenv("NELKANET_STORM_SECONDS");
        return std::chrono::seconds(asked ? std::atol(asked) : 5);
    }

    // Another process sends both signals in turn, 2,500 a second. Simultaneous ones merge.
    static Child blow(pid_t target)
    {
        return Child([target] {
            const Stopwatch watch;
            for (long sent = 0; watch.elapsed() < length() + 30s; ++sent) {
                kill(target, sent % 2 ? SIGALRM : SIGINT);
                while (watch.elapsed() < sent * 400us)
                    std::this_thread::sleep_for(100us);
            }
        });
    }

    // Storms while `work` is repeated, and checks that each signal is logged.
    void weather(const std::function<void()>& work)
    {
        std::atomic<bool> done{false};
        std::atomic<long> logged{0};
        std::future<void> reader = apart([&] { countLines(logged, done); });
        long works = 0;
        std::chrono::microseconds worst{0};
        {
            Child storm = blow(getpid());
            for (const Stopwatch total; total.elapsed() < length() && !HasFailure(); ++works) {
                const Stopwatch watch;
                work();
                worst = std::max(worst, watch.elapsed());
            }
        }
        // What came faster than the log takes lines is written in portions; another thread may be at its line still.
        client.set_timer(0);
        for (const Stopwatch watch; logged < delivered && watch.elapsed() < 4 * length() + 10s;) {
            client.set_timer(0);
            std::this_thread::sleep_for(1ms);
        }
        done = true;
        reader.get();
        std::cout << works << " times, the longest " << worst.count() << " us; " << delivered << " signals delivered, "
                  << logged << " lines of signals\n";
        EXPECT_LE(logged, delivered);
        EXPECT_GE(logged, delivered - merged());
        EXPECT_GT(delivered, length().count() * fewestASecond());
        // A wait that no signal ends lasts 3 s; the lines that a call writes take time as well.
        EXPECT_LT(worst, GetParam() == Reader::quick ? 2500ms : 10s);
    }

private:
#ifdef __SANITIZE_THREAD__
    // ThreadSanitizer may deliver a wake-up of the library's and a signal from elsewhere as one, and at times leaves
    // all signals blocked.
    static long merged()
    {
        return delivered / 100;
    }
    static long fewestASecond()
    {
        return 1;
    }
#else
    static long merged()
    {
        return 0;
    }
    static long fewestASecond()
    {
        return GetParam() == Reader::quick ? 100 : 10;
    }
#endif

    void countLines(std::atomic<long>& signals, const std::atomic<bool>& done) const
    {
        const std::atomic<bool> atOnce{true};
        for (bool last = false; !last;) {
            last = done;
            std::this_thread::sleep_for(GetParam() == Reader::quick ? 1ms : stall);
            for (const std::string& line : log.drain(atOnce))
                signals += line.find("signal received. interrupt ") != std::string::npos;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Log, Storm, ::testing::Values(Reader::quick, Reader::stalling),
                         ::testing::PrintToStringParamName());

// Calls --------------------------------------------------------------------------------------------------------------

class StormOverCalls : public Storm {
protected:
    long answered = 0;
    long cut = 0;

    void call()
    {
        client.updateNTP(50);
        EXPECT_TRUE(client.getFault() == 0 || client.getFault() == -505) << client.getFault();
        ++(client.getFault() == 0 ? answered : cut);
    }

    void TearDown() override
    {
        if (IsSkipped())
            return;
        std::cout << answered << " answered, " << cut << " cut short\n";
        EXPECT_GT(cut, 0);
        // While a stalling log is written, a signal for the next call nearly always arrives.
        if (GetParam() == Reader::quick) {
            EXPECT_GT(answered, 0);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Log, StormOverCalls, ::testing::Values(Reader::quick, Reader::stalling),
                         ::testing::PrintToStringParamName());

TEST_P(StormOverCalls, EndsEveryCallAndBreaksNone)
{
    weather([this] { call(); });
}

TEST_P(StormOverCalls, OfOtherThreadEndsEveryCallAndBreaksNone)
{
    std::atomic<bool> done = false;
    std::future<void> calls = std::async(std::launch::async, [&] {
        weather([this] { call(); });
        done = true;
    });
    while (!done)
        poll(nullptr, 0, 100);
    calls.get();
}

// Setting up ---------------------------------------------------------------------------------------------------------

TEST_P(Storm, LeavesInitWorking)
{
    weather([this] { EXPECT_EQ(client.resetConn(), 0); });
}

TEST_P(Storm, LeavesTimerWorking)
{
    weather([this] {
        client.set_timer(60000);
        client.set_timer(0);
    });
    EXPECT_EQ(timerLeft(), 0ms);
}

// The server ---------------------------------------------------------------------------------------------------------

// A handler that logs, which can deadlock between calls.
xmlrpc_value* add(xmlrpc_env* env, xmlrpc_value*, void*, void*)
{
    const time_t now = std::time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    static const auto realSyslog = next<decltype(syslog)>("syslog"); // not the recorder's
    realSyslog(LOG_INFO, "asked at %d:%d", local.tm_hour, static_cast<int>(std::mktime(&local) % 60));
    return xmlrpc_build_value(env, "(i)", 15);
}

class StormOverServer : public Storm {
protected:
    struct Tally {
        std::atomic<long> served, refused, closed, silent;
        std::atomic<bool> over;
    };

    nelka::XmlrpcServer server;

    void start()
    {
        server.Start("", 0);
        EXPECT_TRUE(server.listening());
    }

    // One address has too few ports for the requests of a minute.
    static int connectionFrom(long number, unsigned short port)
    {
        const int connection = checked(socket(AF_INET, SOCK_STREAM, 0), "socket");
        sockaddr_in source = loopback(0);
        source.sin_addr.s_addr = htonl(INADDR_LOOPBACK + static_cast<in_addr_t>(number % 250));
        checked(bind(connection, reinterpret_cast<const sockaddr*>(&source), sizeof source), "bind");
        const sockaddr_in server = loopback(port);
        checked(connect(connection, reinterpret_cast<const sockaddr*>(&server), sizeof server), "connect");
        return connection;
    }

    // Sends one request after another until the tally ends.
    static void ask(unsigned short port, Tally& tally)
    {
        const std::string request = xml::post("<methodCall><methodName>sample.add</methodName><params/></methodCall>");
        for (long number = 0; !tally.over; ++number) {
            const int connection = connectionFrom(number, port);
            std::string reply;
            bool waited = false;
            if (send(connection, request.data(), request.size(), MSG_NOSIGNAL) > 0) {
                char piece[4096];
                pollfd readable = {connection, POLLIN, 0};
                ssize_t size = 0;
                while (!(waited = poll(&readable, 1, 10'000) == 0)
                       && (size = recv(connection, piece, sizeof piece, 0)) > 0)
                    reply.append(piece, static_cast<std::size_t>(size));
            }
            close(connection);
            if (reply.starts_with("HTTP/1.1 200"))
                ++tally.served;
            else if (reply.starts_with("HTTP/1.1 408"))
                ++tally.refused;
            else
                ++(waited ? tally.silent : tally.closed);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Log, StormOverServer, ::testing::Values(Reader::quick, Reader::stalling),
                         ::testing::PrintToStringParamName());

TEST_P(StormOverServer, LeavesNoRequestUnanswered)
{
    server.AddFunction("sample.add", add, nullptr);
    start();
    const unsigned short port = ownListeningPort();
    void* const shared = mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Tally& tally = *new (shared) Tally{};
    Child asker([&tally, port] { ask(port, tally); });
    weather([this] { server.Run(); });
    // Serves the last request.
    tally.over = true;
    std::atomic<bool> asked = false;
    std::future<void> end = apart([&] {
        EXPECT_EQ(asker.end(20s), 0);
        asked = true;
        close(connectedTo(port));
    });
    while (!asked)
        server.Run();
    end.get();
    std::cout << tally.served << " served, " << tally.refused << " answered with 408, " << tally.closed
              << " closed unread, " << tally.silent << " silent\n";
    EXPECT_GT(tally.served, 0);
    EXPECT_EQ(tally.closed, 0);
    EXPECT_EQ(tally.silent, 0);
}

TEST_P(StormOverServer, LeavesStartWorking)
{
    weather([this] { start(); });
}

} // namespace
