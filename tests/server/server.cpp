// nelka::XmlrpcServer over real sockets. Most tests are also the client, in the same thread: their requests wait in the
// socket until Run() reads them.
#include <nelkanet/xmlrpcserver.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/logrecorder.h"
#include "support/ports.h"
#include "support/scriptedslave.h"
#include "support/shortage.h"
#include "support/signals.h"
#include "support/stopwatch.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

const LogLine banner{LOG_INFO, "************* INICIAMOS EL SERVIDOR **************"};

// A bare connection to a server.
class Peer {
public:
    explicit Peer(unsigned short port) : descriptor(connectedTo(port))
    {
        const timeval patience{10, 0};
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~Peer() { close(descriptor); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    bool connected() const { return descriptor >= 0; }

    void say(const std::string& bytes) const
    {
        EXPECT_EQ(send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }

    std::string hear() const
    {
        std::string all;
        std::array<char, 65536> piece;
        for (ssize_t size; (size = recv(descriptor, piece.data(), piece.size(), 0)) > 0;)
            all.append(piece.data(), static_cast<std::size_t>(size));
        return all;
    }

    // Closing the descriptor resets the connection.
    void resetWhenClosed() const
    {
        const linger abrupt{1, 0};
        setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
    }

private:
    const int descriptor;
};

std::string methodCall(const std::string& method)
{
    return "<?xml version=\"1.0\"?><methodCall><methodName>" + method + "</methodName><params><param>" + xml::i4(5)
           + "</param></params></methodCall>";
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

xmlrpc_value* answer(xmlrpc_env* env, xmlrpc_value*, void* userData, void*)
{
    return xmlrpc_int_new(env, *static_cast<int*>(userData));
}

class Server : public ::testing::Test {
protected:
    LogRecorder log;
    nelka::XmlrpcServer server;
    unsigned short port = 0;
    int fifteen = 15;
    int sixteen = 16;

    // It may be ignored on entry.
    void SetUp() override { std::signal(SIGPIPE, SIG_DFL); }

    void start()
    {
        server.Start("", 0);
        ASSERT_TRUE(server.listening());
        port = ownListeningPort();
        ASSERT_NE(port, 0);
    }

    // Another process may take the free port first.
    void startOnAChosenPort(const std::string& address = "", unsigned int above = 0)
    {
        for (int tries = 0; tries < 5; ++tries) {
            port = freePort();
            server.Start(address, above + port);
            if (server.listening())
                return;
        }
        ADD_FAILURE() << "no port";
    }

    // The server's answer to these bytes, served by one Run().
    std::string exchange(const std::string& bytes)
    {
        const Peer peer(port);
        EXPECT_TRUE(peer.connected());
        peer.say(bytes);
        EXPECT_EQ(server.Run(), 0);
        return peer.hear();
    }

    std::string ask(const std::string& method) { return exchange(xml::post(methodCall(method))); }

    void expectAnswer(const std::string& method, int expected)
    {
        EXPECT_TRUE(contains(ask(method), xml::i4(expected))) << method;
    }

    void expectFault(const std::string& response, int code)
    {
        EXPECT_TRUE(contains(response, "<fault>")) << response;
        EXPECT_TRUE(contains(response, xml::i4(code))) << response;
    }

    // xmlrpc-c's message for a name registered twice.
    static Lines duplicateLines()
    {
        xmlrpc_env env;
        xmlrpc_env_init(&env);
        xmlrpc_registry* const registry = xmlrpc_registry_new(&env);
        xmlrpc_method_info3 method = {};
        method.methodName = "RdHora";
        method.methodFunction = answer;
        for (int i = 0; i < 2; ++i)
            xmlrpc_registry_add_method3(&env, registry, &method);
        EXPECT_TRUE(env.fault_occurred);
        char code[16];
        std::snprintf(code, sizeof code, "0x%x", static_cast<unsigned int>(env.fault_code));
        const std::string text = env.fault_string;
        xmlrpc_registry_free(registry);
        xmlrpc_env_clean(&env);
        return {{LOG_ERR, "XML-RPC Fault: " + text + " (" + code + ")\n"},
                {LOG_ERR, "Error in file src/xmlrpcserver.cpp, line N\n"}};
    }
};

// Methods ------------------------------------------------------------------------------------------------------

TEST_F(Server, LogsNothingBeforeStart)
{
    server.AddFunction("RdHora", answer, &fifteen);
    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_FALSE(server.listening());
}

TEST_F(Server, AnswersMethodByName)
{
    server.AddFunction(nelka::remote::RdHora, answer, &fifteen);
    start();
    expectAnswer("RdHora", 15);
}

TEST_F(Server, AnswersMethodAddedAfterStart)
{
    start();
    server.AddFunction("RdHora", answer, &fifteen);
    expectAnswer("RdHora", 15);
}

TEST_F(Server, PassesEachMethodItsUserData)
{
    server.AddFunction("one", answer, &fifteen);
    server.AddFunction("other", answer, &sixteen);
    start();
    expectAnswer("one", 15);
    expectAnswer("other", 16);
    expectAnswer("one", 15);
}

struct Handed {
    int calls = 0;
    int arguments = 0;
    int first = 0;
};

TEST_F(Server, PassesHandlerArgumentsAndUserData)
{
    Handed handed;
    server.AddFunction(
        "note",
        [](xmlrpc_env* env, xmlrpc_value* arguments, void* userData, void*) {
            Handed& seen = *static_cast<Handed*>(userData);
            ++seen.calls;
            seen.arguments = xmlrpc_array_size(env, arguments);
            xmlrpc_decompose_value(env, arguments, "(i)", &seen.first);
            return xmlrpc_nil_new(env);
        },
        &handed);
    start();
    ask("note");
    EXPECT_EQ(handed.calls, 1);
    EXPECT_EQ(handed.arguments, 1);
    EXPECT_EQ(handed.first, 5);
}

TEST_F(Server, AnswersFaultOfHandler)
{
    server.AddFunction(
        "refuse",
        [](xmlrpc_env* env, xmlrpc_value*, void*, void*) -> xmlrpc_value* {
            xmlrpc_env_set_fault(env, -77, "not today");
            return nullptr;
        },
        nullptr);
    start();
    const std::string response = ask("refuse");
    expectFault(response, -77);
    EXPECT_TRUE(contains(response, "not today"));
}

TEST_F(Server, AnswersExceptionOfHandlerWithFault)
{
    server.AddFunction(
        "fail",
        [](xmlrpc_env*, xmlrpc_value*, void*, void*) -> xmlrpc_value* { throw std::runtime_error("disk full"); },
        nullptr);
    server.AddFunction("RdHora", answer, &fifteen);
    start();
    const std::string response = ask("fail");
    expectFault(response, -500);
    EXPECT_TRUE(contains(response, "disk full")) << response;
    expectAnswer("RdHora", 15);
}

TEST_F(Server, AnswersOtherThrownObjectWithFault)
{
    server.AddFunction(
        "fail", [](xmlrpc_env*, xmlrpc_value*, void*, void*) -> xmlrpc_value* { throw 5; }, nullptr);
    start();
    expectFault(ask("fail"), -500);
}

TEST_F(Server, AnswersUnknownMethodWithFault)
{
    start();
    expectFault(ask("RdHora"), -506);
}

TEST_F(Server, LogsDuplicateNameAndKeepsFirst)
{
    server.AddFunction("RdHora", answer, &fifteen);
    server.AddFunction("RdHora", answer, &sixteen);
    EXPECT_EQ(log.linesWithoutNumbers(), duplicateLines());
    start();
    expectAnswer("RdHora", 15);
}

TEST_F(Server, AddsNothingAfterFailedAddition)
{
    server.AddFunction("RdHora", answer, &fifteen);
    server.AddFunction("RdHora", answer, &fifteen);
    log.clear();
    server.AddFunction("UpdateNTP", answer, &fifteen);
    EXPECT_EQ(log.linesWithoutNumbers(), duplicateLines());
    start();
    expectFault(ask("UpdateNTP"), -506);
}

// Requests -----------------------------------------------------------------------------------------------------

TEST_F(Server, DoesNotNameItself)
{
    server.AddFunction("RdHora", answer, &fifteen);
    start();
    const std::string response = ask("RdHora");
    EXPECT_TRUE(response.starts_with("HTTP/1.1 200 OK\r\n")) << response;
    EXPECT_FALSE(contains(response, "Server:")) << response;
}

TEST_F(Server, ServesNoOtherPath)
{
    server.AddFunction("RdHora", answer, &fifteen);
    start();
    for (const std::string path : {"/", "/rpc2", "/RPC2/more", "/index.html"}) {
        const std::string response = exchange(xml::post(methodCall("RdHora"), path));
        EXPECT_TRUE(response.starts_with("HTTP/1.1 404 ")) << path << ": " << response;
        EXPECT_FALSE(contains(response, "methodResponse")) << path;
    }
    expectAnswer("RdHora", 15);
}

TEST_F(Server, AcceptsOnlyPost)
{
    start();
    EXPECT_TRUE(exchange("GET /RPC2 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n").starts_with("HTTP/1.1 405 "));
}

TEST_F(Server, AnswersInvalidXmlWithFault)
{
    start();
    expectFault(exchange(xml::post("RdHora")), -503);
}

TEST_F(Server, AnswersHarmfulRequestLikeUnreadableOne)
{
    start();
    expectFault(exchange(xml::post("<methodCall><methodName>RdHora</methodName><i8>x</i8></methodCall>")), -503);
    expectFault(exchange(xml::post("<methodCall><!-- -->" + std::string(1, '\0') + "</methodCall>")), -503);
}

// Start --------------------------------------------------------------------------------------------------------

TEST_F(Server, UsesLowBitsOfPortAndIgnoresAddress)
{
    for (const std::string address : {"", "10.1.1.1", "no address"}) {
        for (const unsigned int above : {0U, 65536U, 0xFFFF0000U}) {
            startOnAChosenPort(address, above);
            EXPECT_EQ(ownListeningPort(), port) << address << ' ' << above;
            EXPECT_TRUE(Peer(port).connected()) << address << ' ' << above;
        }
    }
}

TEST_F(Server, LogsPortInUseAndDoesNotListen)
{
    start();
    log.clear();
    nelka::XmlrpcServer second;
    second.Start("", port);
    EXPECT_FALSE(second.listening());

    sockaddr_in address = loopback(port);
    address.sin_addr.s_addr = INADDR_ANY;
    TChanSwitch* none = nullptr;
    const char* reason = nullptr;
    ChanSwitchUnixCreate2(PF_INET, reinterpret_cast<const sockaddr*>(&address), sizeof address, &none, &reason);
    ASSERT_NE(reason, nullptr);
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Couldn't create.  " + std::string(reason)}}));
    EXPECT_TRUE(contains(reason, std::to_string(EADDRINUSE)));
    std::free(const_cast<char*>(reason));
}

TEST_F(Server, StartsAfterFailedStart)
{
    ScriptedSlave occupant;
    server.AddFunction("RdHora", answer, &fifteen);
    server.Start("", occupant.port());
    ASSERT_FALSE(server.listening());
    start();
    expectAnswer("RdHora", 15);
}

TEST_F(Server, SecondStartMovesToOtherPort)
{
    server.AddFunction("RdHora", answer, &fifteen);
    start();
    const unsigned short former = port;
    startOnAChosenPort();
    EXPECT_FALSE(Peer(former).connected());
    expectAnswer("RdHora", 15);
    EXPECT_EQ(log.lines(), (Lines{banner, banner}));
}

TEST_F(Server, SecondStartOnPortInUseClosesFormerPort)
{
    ScriptedSlave occupant;
    start();
    server.Start("", occupant.port());
    EXPECT_FALSE(server.listening());
    EXPECT_EQ(ownListeningPort(), 0);
    EXPECT_EQ(server.Run(), 0);
}

TEST_F(Server, DestructorClosesPort)
{
    auto shortLived = std::make_unique<nelka::XmlrpcServer>();
    shortLived->Start("", 0);
    ASSERT_NE(ownListeningPort(), 0);
    shortLived.reset();
    EXPECT_EQ(ownListeningPort(), 0);
}

TEST_F(Server, IgnoresSigpipeOnceStarted)
{
    start();
    const struct sigaction action = disposition(SIGPIPE);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
    EXPECT_EQ(action.sa_flags & (SA_RESTART | SA_SIGINFO | SA_NODEFER | static_cast<int>(SA_RESETHAND)), 0);
    EXPECT_EQ(members(action.sa_mask), std::set<int>{});
}

// Run ----------------------------------------------------------------------------------------------------------

TEST_F(Server, RunsOneConnection)
{
    server.AddFunction("RdHora", answer, &fifteen);
    start();
    const Peer first(port);
    const Peer second(port);
    first.say(xml::post(methodCall("RdHora")));
    second.say(xml::post(methodCall("RdHora")));
    EXPECT_EQ(server.Run(), 0);
    EXPECT_TRUE(contains(first.hear(), xml::i4(15)));
    EXPECT_EQ(server.Run(), 0);
    EXPECT_TRUE(contains(second.hear(), xml::i4(15)));
}

void ignoreSignal(int) {}

TEST_F(Server, RunReturnsOnSignal)
{
    start();
    struct sigaction action = {};
    action.sa_handler = ignoreSignal;
    sigaction(SIGUSR1, &action, nullptr);
    std::atomic<bool> returned{false};
    // Repeatedly, because the first may come before the wait.
    std::thread caller([&returned, runner = pthread_self()] {
        for (int tries = 0; tries < 1000 && !returned; ++tries) {
            pthread_kill(runner, SIGUSR1);
            std::this_thread::sleep_for(10ms);
        }
    });
    EXPECT_EQ(server.Run(), 0);
    returned = true;
    caller.join();
    EXPECT_TRUE(server.listening());
}

// A program without a client may have one handler for both signals that a client's calls use.
TEST_F(Server, RunReturnsDuringRequestOnSignalOfApplication)
{
    for (const int signal : {SIGINT, SIGALRM})
        std::signal(signal, ignoreSignal);
    start();
    const Peer slow(port);
    slow.say("POST /RPC2 HTTP/1.1\r\nHost: 127");
    const itimerval often = {{0, 5000}, {0, 5000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const Stopwatch watch;
    EXPECT_EQ(server.Run(), 0);
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_LT(watch.elapsed(), 1s); // 2 s without the signals
    EXPECT_TRUE(slow.hear().starts_with("HTTP/1.1 408 "));
}

// Two descriptors are also too few: a connection takes three.
class ServerShortOfDescriptors : public Server, public ::testing::WithParamInterface<int> {
protected:
    void SetUp() override
    {
        Server::SetUp();
        server.AddFunction("RdHora", answer, &fifteen);
        start();
        log.clear();
        waiting.emplace(port);
        waiting->say(xml::post(methodCall("RdHora")));
    }

    std::optional<Peer> waiting;
};

TEST_P(ServerShortOfDescriptors, KeepsConnectionWaiting)
{
    {
        const DescriptorShortage shortage(GetParam());
        EXPECT_EQ(server.Run(), 0);
    }
    EXPECT_EQ(server.Run(), 0);
    EXPECT_TRUE(contains(waiting->hear(), xml::i4(15)));
}

TEST_P(ServerShortOfDescriptors, DoesNotSpin)
{
    const DescriptorShortage shortage(GetParam());
    const Stopwatch watch;
    for (int runs = 0; runs < 5; ++runs)
        EXPECT_EQ(server.Run(), 0);
    EXPECT_GE(watch.elapsed(), 450ms);
    EXPECT_LT(watch.elapsed(), 500ms + lateness());
}

TEST_P(ServerShortOfDescriptors, LogsOneLinePerShortage)
{
    const Lines line{{LOG_ERR, "No free descriptor for a connection: connections wait until there is one"}};
    server.Run(); // serves the waiting connection
    for (int times = 0; times < 2; ++times) {
        {
            const DescriptorShortage shortage(GetParam());
            for (int runs = 0; runs < 3; ++runs)
                server.Run();
        }
        EXPECT_EQ(log.lines(), line);
        log.clear();
        expectAnswer("RdHora", 15);
    }
}

TEST_P(ServerShortOfDescriptors, WritesNothingToStandardOutput)
{
    ::testing::internal::CaptureStdout();
    {
        const DescriptorShortage shortage(GetParam());
        server.Run();
        std::fflush(stdout);
    }
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_P(ServerShortOfDescriptors, ReturnsOnSignal)
{
    struct sigaction action = {};
    action.sa_handler = ignoreSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often = {{0, 5000}, {0, 5000}};
    const DescriptorShortage shortage(GetParam());
    setitimer(ITIMER_REAL, &often, nullptr);
    const Stopwatch watch;
    for (int runs = 0; runs < 20; ++runs)
        EXPECT_EQ(server.Run(), 0);
    EXPECT_LT(watch.elapsed(), 1s + lateness()); // 2 s without the signals
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
}

INSTANTIATE_TEST_SUITE_P(, ServerShortOfDescriptors, ::testing::Values(0, 1, 2));

struct Misbehaviour {
    const char* name;
    std::string bytes;
};

std::ostream& operator<<(std::ostream& out, const Misbehaviour& misbehaviour)
{
    return out << misbehaviour.name;
}

class SilentPeer : public Server, public ::testing::WithParamInterface<Misbehaviour> {};

TEST_P(SilentPeer, BlocksServerForTwoSeconds)
{
    server.AddFunction("RdHora", answer, &fifteen);
    start();
    const Peer silent(port);
    silent.say(GetParam().bytes);
    const Stopwatch watch;
    EXPECT_EQ(server.Run(), 0);
    EXPECT_GE(watch.elapsed(), 1s);
    EXPECT_LT(watch.elapsed(), 3s + lateness());
    expectAnswer("RdHora", 15);
}

INSTANTIATE_TEST_SUITE_P(
    Server, SilentPeer,
    ::testing::Values(Misbehaviour{"FromTheStart", ""}, Misbehaviour{"WithinTheRequestLine", "POST /RP"},
                      Misbehaviour{"WithinTheHeaders", "POST /RPC2 HTTP/1.1\r\nHost: 127"},
                      Misbehaviour{"WithinTheBody", xml::post(methodCall("RdHora")).substr(0, 120)}),
    [](const auto& instance) { return std::string(instance.param.name); });

class LeavingPeer : public Server, public ::testing::WithParamInterface<Misbehaviour> {};

TEST_P(LeavingPeer, HarmsNobody)
{
    const std::string large(300000, 'x');
    server.AddFunction(
        "large",
        [](xmlrpc_env* env, xmlrpc_value*, void* text, void*) {
            return xmlrpc_string_new(env, static_cast<const std::string*>(text)->c_str());
        },
        const_cast<std::string*>(&large));
    server.AddFunction("RdHora", answer, &fifteen);
    start();
    for (const bool abruptly : {false, true}) {
        {
            const Peer leaving(port);
            leaving.say(GetParam().bytes);
            if (abruptly)
                leaving.resetWhenClosed();
        }
        EXPECT_EQ(server.Run(), 0);
        expectAnswer("RdHora", 15);
    }
}

INSTANTIATE_TEST_SUITE_P(Server, LeavingPeer,
                         ::testing::Values(Misbehaviour{"BeforeItAsks", ""},
                                           Misbehaviour{"WithinItsRequest", "POST /RPC2 HTTP/1.1\r\nHost"},
                                           Misbehaviour{"BeforeALargeAnswer", xml::post(methodCall("large"))}),
                         [](const auto& instance) { return std::string(instance.param.name); });

} // namespace
