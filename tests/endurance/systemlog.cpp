// With the C library's own syslog(): a log that stalls, and signals that storm while calls log.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <random>
#include <thread>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <nelkanet/xmlrpclient.h>

#include "support/child.h"
#include "support/scriptedslave.h"
#include "support/signals.h"
#include "support/stopwatch.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

/// A private /dev/log in a private mount namespace.
class PrivateLog {
public:
    PrivateLog()
    {
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
            || mount("dev", "/mnt", "tmpfs", 0, nullptr) != 0)
            return;
        for (const std::string device : {"null", "zero", "random", "urandom"}) {
            const std::string copy = "/mnt/" + device;
            std::ofstream(copy).flush();
            mount(("/dev/" + device).c_str(), copy.c_str(), nullptr, MS_BIND, nullptr);
        }
        if (mount("/mnt", "/dev", nullptr, MS_MOVE, nullptr) != 0)
            return;
        reading = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "/dev/log");
        owned = bind(reading, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~PrivateLog()
    {
        closelog();
        close(reading);
    }
    PrivateLog(const PrivateLog&) = delete;
    PrivateLog& operator=(const PrivateLog&) = delete;

    bool works() const { return owned; }

    /// Fills the queue, so that the next line waits until one is read.
    static void stall()
    {
        const int writing = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "/dev/log");
        while (sendto(writing, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 1) {
        }
        close(writing);
    }

    /// Takes the lines there are, and all that come until `done` is set.
    std::vector<std::string> drain(const std::atomic<bool>& done) const
    {
        std::vector<std::string> lines;
        while (true) {
            const bool last = done;
            char line[8192];
            ssize_t size = 0;
            while ((size = recv(reading, line, sizeof line, MSG_DONTWAIT)) > 0)
                lines.emplace_back(line, static_cast<std::size_t>(size));
            if (last)
                return lines;
            std::this_thread::sleep_for(1ms);
        }
    }

private:
    int reading = -1;
    bool owned = false;
};

// Each in a separate process, since a process cannot leave its mount namespace.
class SystemLog : public ::testing::Test {
protected:
    ScriptedSlave slave{{silence()}};
    nelka::XmlrpcClient client{"127.0.0.1", slave.port(), "eth1", "app", "1.0"};
    const PrivateLog log;

    void SetUp() override
    {
        if (!log.works()) {
            std::cerr << "SKIPPED: no right to make a private /dev/log\n";
            GTEST_SKIP();
        }
        ASSERT_EQ(client.init(), 0);
    }

    static long count(const std::vector<std::string>& lines, const std::string& text)
    {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.find(text) != std::string::npos; });
    }

    // A call that times out while the log stalls for two seconds from the moment `begin` returns.
    void expectNoHang(const std::function<void()>& begin)
    {
        std::atomic<bool> done{false};
        std::vector<std::string> lines;
        std::future<void> reader = apart([&] {
            begin();
            std::this_thread::sleep_for(2s);
            lines = log.drain(done);
        });
        const Stopwatch watch;
        client.updateNTP(300);
        const auto taken = watch.elapsed();
        done = true;
        reader.get();
        EXPECT_EQ(client.getFault(), -505);
        EXPECT_LT(taken, 2s + 300ms + 1s);
        EXPECT_EQ(count(lines, "SIGALRM signal received. interrupt 0"), 1);
        EXPECT_EQ(count(lines, "TIMEOUT POR SIGNAL  mensaje : updateNTP"), 1);
    }
};

TEST_F(SystemLog, ThatStallsBeforeACallHoldsItUpAndDoesNotHangIt)
{
    PrivateLog::stall();
    expectNoHang([] {});
}

TEST_F(SystemLog, ThatStallsWhileACallWaitsHoldsUpItsEndAndDoesNotHangIt)
{
    expectNoHang([this] {
        slave.awaitRequests(1);
        PrivateLog::stall();
    });
}

// Storm --------------------------------------------------------------------------------------------------------------

class SignalStorm : public SystemLog {
protected:
    static std::chrono::seconds length()
    {
        const char* asked = std::getenv("NELKANET_STORM_SECONDS");
        return std::chrono::seconds(asked ? std::atol(asked) : 60);
    }

    // About a thousand a second, from another process.
    static Child blow(pid_t target, std::chrono::seconds length)
    {
        return Child([=] {
            std::mt19937 random(1);
            for (const Stopwatch watch; watch.elapsed() < length + 30s;) {
                kill(target, random() % 2 ? SIGALRM : SIGINT);
                std::this_thread::sleep_for(std::chrono::microseconds(800 + random() % 400));
            }
        });
    }
};

TEST_F(SignalStorm, EndsEveryCallWithinItsDeadlineAndBreaksNone)
{
    std::atomic<bool> done{false};
    std::vector<std::string> lines;
    std::future<void> reader = apart([&] { lines = log.drain(done); });
    slave.play({replyArray({xml::i4(0)})});

    Child storm = blow(getpid(), length());
    const Stopwatch total;
    long answered = 0;
    long cut = 0;
    std::chrono::microseconds worst{0};
    while (total.elapsed() < length() && !HasFailure()) {
        constexpr auto timeout = 50ms;
        const Stopwatch watch;
        client.updateNTP(timeout.count());
        worst = std::max(worst, watch.elapsed());
        EXPECT_LT(watch.elapsed(), timeout + lateness());
        EXPECT_TRUE(client.getFault() == 0 || client.getFault() == -505) << client.getFault();
        ++(client.getFault() == 0 ? answered : cut);
    }
    storm.end(0s);
    client.set_timer(0);
    done = true;
    reader.get();
    std::cout << answered << " calls answered, " << cut << " cut short, the longest " << worst.count() << " us; "
              << count(lines, "signal received") << " signals logged\n";
    EXPECT_GT(answered, 0);
    EXPECT_GT(cut, 0);
}

} // namespace
