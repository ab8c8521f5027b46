// Signals that land in a server's thread, in a process that also calls slaves.
#include <atomic>
#include <csignal>
#include <ctime>
#include <functional>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <nelkanet/xmlrpcserver.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/checked.h"
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

std::function<void()> duringSocket;
int latestSocket = -1;

} // namespace

// The server formats the date of its replies with it, under the time zone lock, which syslog() takes too.
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

// Intercepts how the server opens a descriptor, to let others open one at the same time.
extern "C" __attribute__((visibility("default"))) int socket(int domain, int type, int protocol) noexcept
{
    static const auto real = next<decltype(socket)>("socket");
    if (const std::function<void()> action = std::exchange(duringSocket, nullptr))
        action();
    return latestSocket = real(domain, type, protocol);
}

namespace {

xmlrpc_value* add(xmlrpc_env* env, xmlrpc_value*, void*, void*)
{
    return xmlrpc_build_value(env, "(i)", 15);
}

xmlrpc_value* readMask(xmlrpc_env* env, xmlrpc_value*, void* seen, void*)
{
    *static_cast<std::set<int>*>(seen) = blockedSignals();
    return xmlrpc_build_value(env, "(i)", 15);
}

void ignore(int) {}

class ServerSignals : public ::testing::Test {
protected:
    ScriptedSlave slave{{silence()}};
    LogRecorder log;
    nelka::XmlrpcServer server;
    nelka::XmlrpcClient client{"127.0.0.1", slave.port(), "eth1", "app", "1.0"};

    void SetUp() override
    {
        ASSERT_EQ(client.init(), 0);
        serve("sample.add", add);
        start();
        log.clear();
        loggedInsideMktime = 0;
        LogRecorder::duringLogCall = [] { loggedInsideMktime += insideMktime; };
    }

    void TearDown() override
    {
        LogRecorder::duringLogCall = nullptr;
        duringMktime = nullptr;
        duringSocket = nullptr;
    }

    void serve(const char* method, nelka::XmlrpcServer::Handler handler, void* userData = nullptr)
    {
        server.AddFunction(method, handler, userData);
    }

    void start()
    {
        server.Start("", 0);
        ASSERT_TRUE(server.listening());
    }

    static std::string request(const std::string& method) { return xml::post(xml::requestBody(method, {})); }

    static std::string statusLine(int peer)
    {
        std::string answer(1000, '\0');
        const ssize_t size = read(peer, answer.data(), answer.size());
        answer.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        close(peer);
        return answer.substr(0, answer.find('\r'));
    }

    // A peer that has sent a request.
    static int asker(const std::string& method, unsigned short port = ownListeningPort())
    {
        const int peer = connectedTo(port);
        const std::string bytes = request(method);
        EXPECT_EQ(write(peer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        return peer;
    }

    void exchange(const std::string& method, unsigned short port = ownListeningPort())
    {
        const int peer = asker(method, port);
        server.Run();
        EXPECT_EQ(statusLine(peer), "HTTP/1.1 200 OK");
    }

    // The signals blocked while the server handles a request.
    std::set<int> heldWhileServing(const std::string& method = "sample.add", unsigned short port = ownListeningPort())
    {
        std::set<int> held = {SIGKILL};
        duringMktime = [&held] { held = blockedSignals(); };
        exchange(method, port);
        return held;
    }
};

class EachServerSignal : public ServerSignals, public ::testing::WithParamInterface<int> {
protected:
    // The status line that a peer gets if it sends part of its request, and the rest only after the serving thread has
    // got many signals or has already answered.
    std::string answerAfter(std::size_t sent)
    {
        const std::string bytes = request("sample.add");
        const int peer = connectedTo(ownListeningPort());
        EXPECT_EQ(write(peer, bytes.data(), sent), static_cast<ssize_t>(sent));
        std::atomic<bool> ending{false};
        std::thread serving([this, &ending] {
            while (!ending)
                server.Run();
        });
        pollfd answered = {peer, POLLIN, 0};
        for (int signals = 200; signals > 0 && poll(&answered, 1, 1) == 0; --signals)
            pthread_kill(serving.native_handle(), GetParam());
        EXPECT_GT(send(peer, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL), 0);
        const std::string answer = statusLine(peer);
        ending = true;
        close(connectedTo(ownListeningPort())); // ends a waiting Run()
        serving.join();
        return answer;
    }
};

// While it serves ----------------------------------------------------------------------------------------------------

TEST_P(EachServerSignal, BeforeFirstByteEndsNoConnection)
{
    EXPECT_EQ(answerAfter(0), "HTTP/1.1 200 OK");
}

TEST_P(EachServerSignal, InHeadersEndsNoRequest)
{
    EXPECT_EQ(answerAfter(30), "HTTP/1.1 200 OK");
}

TEST_P(EachServerSignal, InBodyEndsNoRequest)
{
    EXPECT_EQ(answerAfter(request("sample.add").size() - 10), "HTTP/1.1 200 OK");
}

TEST_P(EachServerSignal, WhileFormattingDateIsLoggedAfterServing)
{
    int raised = 0;
    duringMktime = [&raised] {
        std::raise(GetParam());
        ++raised;
    };
    exchange("sample.add");
    EXPECT_EQ(raised, 1);
    EXPECT_EQ(loggedInsideMktime, 0);
    EXPECT_EQ(log.lines(), Lines{signalLine(std::string("SIG") + sigabbrev_np(GetParam()))});
}

TEST_P(EachServerSignal, WhileWaitingForConnectionEndsRun)
{
    std::atomic<bool> returned{false};
    // Repeatedly, because the first may come before the wait.
    std::future<void> sender = apart([&returned, runner = pthread_self()] {
        while (!returned) {
            pthread_kill(runner, GetParam());
            poll(nullptr, 0, 1);
        }
    });
    server.Run();
    returned = true;
    sender.get();
    EXPECT_EQ(log.lines().at(0), signalLine(std::string("SIG") + sigabbrev_np(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(, EachServerSignal, ::testing::Values(SIGINT, SIGALRM),
                         [](const auto& kind) { return std::string(sigabbrev_np(kind.param)); });

TEST_F(ServerSignals, OnlyOfLibraryAreBlockedWhileServing)
{
    EXPECT_EQ(heldWhileServing(), (std::set<int>{SIGINT, SIGALRM}));
    std::signal(SIGINT, ignore);
    EXPECT_EQ(heldWhileServing(), std::set<int>{SIGALRM});
    std::signal(SIGALRM, SIG_DFL);
    EXPECT_EQ(heldWhileServing(), std::set<int>{});
}

TEST_F(ServerSignals, AreBlockedAsBeforeAfterServing)
{
    for (const std::set<int>& before : {std::set<int>{}, {SIGINT, SIGUSR1}, {SIGALRM}}) {
        const BlockedSignals held(before);
        exchange("sample.add");
        EXPECT_EQ(blockedSignals(), before);
    }
}

// Handlers of methods ------------------------------------------------------------------------------------------------

TEST_F(ServerSignals, AreBlockedInMethodAsByApplication)
{
    std::set<int> seen;
    serve("readMask", readMask, &seen);
    for (const std::set<int>& before : {std::set<int>{}, {SIGINT, SIGUSR1}, {SIGALRM}}) {
        const BlockedSignals held(before);
        exchange("readMask");
        EXPECT_EQ(seen, before);
    }
}

TEST_F(ServerSignals, StayAsMethodLeavesThem)
{
    serve("block", [](xmlrpc_env* env, xmlrpc_value*, void*, void*) {
        sigset_t interrupts;
        sigemptyset(&interrupts);
        sigaddset(&interrupts, SIGINT);
        pthread_sigmask(SIG_BLOCK, &interrupts, nullptr);
        return xmlrpc_nil_new(env);
    });
    const BlockedSignals restored({});
    exchange("block");
    EXPECT_EQ(blockedSignals(), std::set<int>{SIGINT});
}

TEST_F(ServerSignals, AreBlockedAgainAfterMethodThatThrew)
{
    serve("fail", [](xmlrpc_env*, xmlrpc_value*, void*, void*) -> xmlrpc_value* { throw 5; });
    EXPECT_EQ(heldWhileServing("fail"), (std::set<int>{SIGINT, SIGALRM}));
}

xmlrpc_value* callAnotherSlave(xmlrpc_env* env, xmlrpc_value*, void* client, void*)
{
    static_cast<nelka::XmlrpcClient*>(client)->updateNTP(500);
    return xmlrpc_nil_new(env);
}

TEST_F(ServerSignals, EndCallOfMethodAtItsDeadline)
{
    serve("forward", callAnotherSlave, &client);
    const Stopwatch watch;
    exchange("forward");
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_LT(watch.elapsed(), std::chrono::milliseconds(500) + lateness());
}

TEST_F(ServerSignals, CutCallOfMethodImmediately)
{
    serve("forward", callAnotherSlave, &client);
    std::future<void> operatorsHand = onceAsked(slave, [] { kill(getpid(), SIGINT); });
    exchange("forward");
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(log.lines().at(2), signalLine("SIGINT"));
    client.set_timer(0);
}

// Cancellation does not unwind through C on ARM, and xmlrpc-c loses the connection's memory.
#if !defined(__arm__) && !defined(__SANITIZE_ADDRESS__)
TEST_F(ServerSignals, CancellationInMethodEndsThread)
{
    serve("cancel", [](xmlrpc_env* env, xmlrpc_value*, void*, void*) {
        pthread_cancel(pthread_self());
        pthread_testcancel();
        return xmlrpc_nil_new(env);
    });
    const int peer = asker("cancel");
    bool returned = false;
    std::thread([this, &returned] {
        server.Run();
        returned = true;
    }).join();
    EXPECT_FALSE(returned);
    close(peer);
}
#endif

// The listening descriptor -------------------------------------------------------------------------------------------

int listeningEverywhere()
{
    const int listener = checked(socket(AF_INET, SOCK_STREAM, 0), "socket");
    checked(listen(listener, 1), "listen");
    return listener;
}

TEST_F(ServerSignals, AreNotBlockedIfOtherSocketGotDescriptor)
{
    int expected = -1;
    int stranger = -1;
    duringSocket = [&] { // the server predicts the next descriptor
        duringSocket = [&] {
            expected = latestSocket;
            stranger = listeningEverywhere();
        };
    };
    start();
    const unsigned short port = portOf(latestSocket);
    ASSERT_EQ(stranger, expected);
    EXPECT_EQ(heldWhileServing("sample.add", port), std::set<int>{});
    close(stranger);
}

} // namespace
