// Signals that land in a server's own thread, whose process calls other slaves too.
#include <csignal>
#include <ctime>
#include <functional>
#include <future>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <nelkanet/xmlrpcserver.h>
#include <syslog.h>

#include "support/fixture.h"
#include "support/interpose.h"
#include "support/ports.h"
#include "support/signals.h"

using namespace support;

namespace {

std::function<void()> duringMktime;
thread_local bool insideMktime = false;
int loggedInsideMktime = 0;

} // namespace

// The server formats the date of its replies with it, under the lock of the time zone, which syslog() takes too.
extern "C" __attribute__((visibility("default"))) time_t mktime(tm* time) noexcept
{
    static const auto real = next<decltype(mktime)>("mktime");
    insideMktime = true;
    if (duringMktime)
        duringMktime();
    const time_t result = real(time);
    insideMktime = false;
    return result;
}

namespace {

xmlrpc_value* add(xmlrpc_env* env, xmlrpc_value*, void*, void*)
{
    return xmlrpc_build_value(env, "(i)", 15);
}

class ServerSignals : public ::testing::TestWithParam<int> {
protected:
    LogRecorder log;
    nelka::XmlrpcServer server;
    nelka::XmlrpcClient client{"127.0.0.1", 1, "eth1", "app", "1.0"};

    void SetUp() override
    {
        ASSERT_EQ(client.init(), 0);
        server.AddFunction("sample.add", add, nullptr);
        server.Start("", 0);
        ASSERT_TRUE(server.listening());
        log.clear();
        loggedInsideMktime = 0;
        LogRecorder::duringLogCall = [] { loggedInsideMktime += insideMktime; };
    }

    void TearDown() override
    {
        LogRecorder::duringLogCall = nullptr;
        duringMktime = nullptr;
    }

    // Serves a request of another process, and returns that one's fault.
    int serve()
    {
        const unsigned short port = ownListeningPort();
        Child child([port] {
            nelka::XmlrpcClient caller("127.0.0.1", port, "eth1", "app", "1.0");
            if (caller.init() != 0)
                _exit(1);
            std::fclose(stdout);
            caller.sampleadd(ampleTimeout);
            _exit(caller.getFault() == 0 ? 0 : 2);
        });
        server.Run();
        return child.end(std::chrono::seconds(30));
    }
};

TEST_P(ServerSignals, WhileItFormatsADateAreLoggedOnceItHasServed)
{
    int raised = 0;
    duringMktime = [&raised] {
        std::raise(GetParam());
        ++raised;
    };
    EXPECT_EQ(serve(), 0);
    EXPECT_GT(raised, 0);
    EXPECT_EQ(loggedInsideMktime, 0);
    const Lines lines = log.lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(raised));
    EXPECT_EQ(lines[0], signalLine(std::string("SIG") + sigabbrev_np(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Kinds, ServerSignals, ::testing::Values(SIGINT, SIGALRM),
                         [](const auto& kind) { return std::string(sigabbrev_np(kind.param)); });

} // namespace
