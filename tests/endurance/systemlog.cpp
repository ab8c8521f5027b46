// The real syslog() with a log that stalls.
#include <algorithm>
#include <atomic>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include <nelkanet/xmlrpclient.h>

#include "privatelogtest.h"
#include "support/signals.h"
#include "support/stopwatch.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

class SystemLog : public PrivateLogTest {
protected:
    SystemLog() : PrivateLogTest(silence()) {}

    static long count(const std::vector<std::string>& lines, const std::string& text)
    {
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.find(text) != std::string::npos; });
    }

    // Makes a call that times out while the log stalls for two seconds after `begin` returns.
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

TEST_F(SystemLog, StallBeforeCallDelaysItWithoutHanging)
{
    PrivateLog::stall();
    expectNoHang([] {});
}

TEST_F(SystemLog, StallDuringCallDelaysItsEndWithoutHanging)
{
    expectNoHang([this] {
        slave.awaitRequests(1);
        PrivateLog::stall();
    });
}

} // namespace
