// Signals that land in a server's own thread, whose process calls other slaves too.
#include <atomic>
#include <csignal>
#include <ctime>
#include <functional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <nelkanet/xmlrpcserver.h>
#include <poll.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include "support/fixture.h"
#include "support/interpose.h"
#include "support/ports.h"
#include "support/signals.h"
#include "support/xml.h"

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

// The status line that a peer gets for a request of which it sends the end only after the serving thread has been sent
// `signals` signals, or has answered before.
std::string answerToHalfSent(nelka::XmlrpcServer& server, int signal, int signals)
{
    const std::string body = xml::requestBody("sample.add", {xml::i4(10), xml::i4(5)});
    const std::string request = "POST /RPC2 HTTP/1.1\r\nHost: x\r\nContent-Type: text/xml\r\nContent-Length: "
                                + std::to_string(body.size()) + "\r\n\r\n" + body;
    const std::size_t half = request.size() - 10;
    const int peer = connectedTo(ownListeningPort());
    EXPECT_EQ(write(peer, request.data(), half), static_cast<ssize_t>(half));
    std::atomic<bool> ending{false};
    std::thread serving([&server, &ending] {
        while (!ending)
            server.Run();
    });
    pollfd answered = {peer, POLLIN, 0};
    while (signals-- > 0 && poll(&answered, 1, 1) == 0)
        pthread_kill(serving.native_handle(), signal);
    EXPECT_GT(write(peer, request.data() + half, request.size() - half), 0);
    std::string answer(1000, '\0');
    const ssize_t size = read(peer, answer.data(), answer.size());
    answer.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    ending = true;
    close(peer);
    close(connectedTo(ownListeningPort())); // for a Run() that waits for one
    serving.join();
    return answer.substr(0, answer.find('\r'));
}

TEST_P(ServerSignals, LetThroughByTheServingThreadEndAHalfSentRequest)
{
    EXPECT_EQ(answerToHalfSent(server, GetParam(), 5000).find("HTTP/1.1 408"), 0U);
}

TEST_P(ServerSignals, HeldBackByTheServingThreadEndNoRequest)
{
    const HoldingBack held({SIGALRM, SIGINT}); // the serving thread inherits it
    EXPECT_EQ(answerToHalfSent(server, GetParam(), 200), "HTTP/1.1 200 OK");
}

INSTANTIATE_TEST_SUITE_P(Kinds, ServerSignals, ::testing::Values(SIGINT, SIGALRM),
                         [](const auto& kind) { return std::string(sigabbrev_np(kind.param)); });

} // namespace
