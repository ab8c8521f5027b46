// The steps of nelka::XmlrpcServer, with xmlrpc-c's HTTP server and its failures simulated by the test.
#include <nelkanet/xmlrpcserver.h>

#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <syslog.h>
#include <xmlrpc-c/server_abyss.h>

#include <gtest/gtest.h>

#include "support/interpose.h"
#include "support/logrecorder.h"
#include "support/signals.h"

using namespace support;

namespace {

bool sigpipeIgnored()
{
    return disposition(SIGPIPE).sa_handler == SIG_IGN;
}

// What the library called, in order, and which calls must fail.
struct {
    std::vector<std::string> calls;
    const char* switchError = nullptr;
    const char* serverError = nullptr;
    bool environmentFails = false;
    bool registryFails = false;
    xmlrpc_env* environment = nullptr; // the server's
} abyss;

void called(const std::string& call)
{
    abyss.calls.push_back(call);
}

TChanSwitch* someSwitch()
{
    static int thing;
    return reinterpret_cast<TChanSwitch*>(&thing);
}

} // namespace

// These intercept the library's calls: the program's symbols precede those of other libraries.
#pragma GCC visibility push(default)
extern "C" {

void ChanSwitchUnixCreate2(int family, const sockaddr* socketAddress, socklen_t size, TChanSwitch** chanSwitch,
                           const char** error)
{
    const auto& address = reinterpret_cast<const sockaddr_in&>(*socketAddress);
    called("ChanSwitchUnixCreate2 " + std::to_string(family) + " " + std::to_string(address.sin_family) + " "
           + inet_ntoa(address.sin_addr) + ":" + std::to_string(ntohs(address.sin_port)) + " " + std::to_string(size));
    *error = abyss.switchError ? strdup(abyss.switchError) : nullptr;
    if (!abyss.switchError)
        *chanSwitch = someSwitch();
}

void ServerCreateSwitch(TServer*, TChanSwitch* chanSwitch, const char** error)
{
    EXPECT_EQ(chanSwitch, someSwitch());
    called("ServerCreateSwitch");
    *error = abyss.serverError ? strdup(abyss.serverError) : nullptr;
}

void ServerSetName(TServer*, const char* name)
{
    called(std::string("ServerSetName ") + name);
}

void ServerSetLogFileName(TServer*, const char* name)
{
    called(std::string("ServerSetLogFileName ") + name);
}

void ServerSetTimeout(TServer*, xmlrpc_uint32_t seconds)
{
    called("ServerSetTimeout " + std::to_string(seconds));
}

void ServerSetKeepaliveTimeout(TServer*, xmlrpc_uint32_t seconds)
{
    called("ServerSetKeepaliveTimeout " + std::to_string(seconds));
}

void ServerSetAdvertise(TServer*, abyss_bool advertise)
{
    called("ServerSetAdvertise " + std::to_string(advertise));
}

void xmlrpc_server_abyss_set_handlers2(TServer*, const char* path, xmlrpc_registry* registry)
{
    EXPECT_NE(registry, nullptr);
    called(std::string("xmlrpc_server_abyss_set_handlers2 ") + path);
}

void xmlrpc_server_abyss_set_handler2(TServer*, const char* path, xmlrpc_call_processor processor, void* registry,
                                      std::size_t, xmlrpc_bool chunked)
{
    EXPECT_NE(processor, nullptr);
    EXPECT_NE(registry, nullptr);
    EXPECT_FALSE(chunked);
    called(std::string("xmlrpc_server_abyss_set_handler2 ") + path);
}

void ServerInit(TServer*)
{
    called(std::string("ServerInit") + (sigpipeIgnored() ? ", SIGPIPE ignored already" : ""));
}

void ServerRunOnce(TServer*)
{
    called("ServerRunOnce");
}

void ServerFree(TServer*)
{
    called("ServerFree");
}

void ChanSwitchDestroy(TChanSwitch* chanSwitch)
{
    EXPECT_EQ(chanSwitch, someSwitch());
    called("ChanSwitchDestroy");
}

void xmlrpc_env_init(xmlrpc_env* env)
{
    next<void(xmlrpc_env*)>("xmlrpc_env_init")(env);
    if (!abyss.environment)
        abyss.environment = env;
    if (abyss.environmentFails && env == abyss.environment)
        xmlrpc_env_set_fault(env, -500, "no environment");
}

void xmlrpc_env_clean(xmlrpc_env* env)
{
    if (env == abyss.environment)
        called("xmlrpc_env_clean");
    next<void(xmlrpc_env*)>("xmlrpc_env_clean")(env);
}

xmlrpc_registry* xmlrpc_registry_new(xmlrpc_env* env)
{
    if (!abyss.registryFails)
        return next<xmlrpc_registry*(xmlrpc_env*)>("xmlrpc_registry_new")(env);
    xmlrpc_env_set_fault(env, -32, "no registry");
    static int freed;
    return reinterpret_cast<xmlrpc_registry*>(&freed); // as xmlrpc-c does
}

void xmlrpc_registry_free(xmlrpc_registry* registry)
{
    called("xmlrpc_registry_free");
    next<void(xmlrpc_registry*)>("xmlrpc_registry_free")(registry);
}
}
#pragma GCC visibility pop

namespace {

using Calls = std::vector<std::string>;

const LogLine banner{LOG_INFO, "************* INICIAMOS EL SERVIDOR **************"};
const LogLine place{LOG_ERR, "Error in file src/xmlrpcserver.cpp, line N\n"};
const LogLine noEnvironment{LOG_ERR, "XML-RPC Fault: no environment (0xfffffe0c)\n"};
const LogLine noRegistry{LOG_ERR, "XML-RPC Fault: no registry (0xffffffe0)\n"};

const std::string createSwitch = "ChanSwitchUnixCreate2 2 2 0.0.0.0:8080 16";
const Calls releases{"xmlrpc_registry_free", "xmlrpc_env_clean"};

Calls operator+(Calls first, const Calls& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

xmlrpc_value* handler(xmlrpc_env* env, xmlrpc_value*, void*, void*)
{
    return xmlrpc_nil_new(env);
}

class ServerCalls : public ::testing::Test {
protected:
    LogRecorder log;
    std::unique_ptr<nelka::XmlrpcServer> server;

    void SetUp() override
    {
        abyss = {};
        std::signal(SIGPIPE, SIG_DFL); // it may be ignored on entry
    }

    void construct() { server = std::make_unique<nelka::XmlrpcServer>(); }

    void start()
    {
        construct();
        server->Start("", 8080);
    }

    // The calls since the last query.
    static Calls calls() { return std::exchange(abyss.calls, {}); }

    Calls callsOfDestructor()
    {
        abyss.calls.clear();
        server.reset();
        return calls();
    }
};

TEST_F(ServerCalls, StartTakesItsStepsInOrder)
{
    LogRecorder::duringLogCall = [] { called("syslog"); };
    start();
    LogRecorder::duringLogCall = nullptr;
    EXPECT_EQ(calls(), (Calls{createSwitch, "ServerCreateSwitch", "ServerSetName NelkaXMLRPCServer",
                              "ServerSetLogFileName /dev/null", "ServerSetTimeout 2", "ServerSetKeepaliveTimeout 2",
                              "ServerSetAdvertise 0", "xmlrpc_server_abyss_set_handlers2 /RPC2",
                              "xmlrpc_server_abyss_set_handler2 /RPC2", "syslog", "ServerInit"}));
    EXPECT_EQ(log.lines(), Lines{banner});
    EXPECT_TRUE(sigpipeIgnored());
    EXPECT_TRUE(server->listening());
}

TEST_F(ServerCalls, RunServesOnce)
{
    start();
    abyss.calls.clear();
    EXPECT_EQ(server->Run(), 0);
    EXPECT_EQ(calls(), Calls{"ServerRunOnce"});
}

TEST_F(ServerCalls, DestructorReleasesServerFirst)
{
    start();
    EXPECT_EQ(callsOfDestructor(), (Calls{"ServerFree", "ChanSwitchDestroy"} + releases));
}

TEST_F(ServerCalls, DestructorWithoutStartReleasesRegistryOnly)
{
    construct();
    EXPECT_EQ(callsOfDestructor(), releases);
}

TEST_F(ServerCalls, RunServesNothingBeforeStart)
{
    construct();
    EXPECT_EQ(server->Run(), 0);
    EXPECT_EQ(calls(), Calls{});
}

TEST_F(ServerCalls, SecondStartReleasesFormerPortFirst)
{
    start();
    abyss.calls.clear();
    server->Start("", 8080);
    EXPECT_EQ((Calls{abyss.calls[0], abyss.calls[1], abyss.calls[2]}),
              (Calls{"ServerFree", "ChanSwitchDestroy", createSwitch}));
    EXPECT_EQ(callsOfDestructor(), (Calls{"ServerFree", "ChanSwitchDestroy"} + releases));
}

TEST_F(ServerCalls, StartEndsAtFailedSwitch)
{
    abyss.switchError = "100% taken";
    start();
    EXPECT_EQ(calls(), Calls{createSwitch});
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Couldn't create.  100% taken"}}));
    EXPECT_FALSE(sigpipeIgnored());
    EXPECT_FALSE(server->listening());
    EXPECT_EQ(server->Run(), 0);
    EXPECT_EQ(callsOfDestructor(), releases);
}

TEST_F(ServerCalls, StartGoesOnAfterFailedServer)
{
    abyss.serverError = "100% out of memory";
    start();
    EXPECT_EQ(calls(), (Calls{createSwitch, "ServerCreateSwitch"}));
    EXPECT_EQ(log.lines(), (Lines{{LOG_ERR, "Couldn't create a server!  100% out of memory"},
                                  {LOG_ERR, "HEADEND::: Couldn't create a server!"},
                                  banner}));
    EXPECT_TRUE(sigpipeIgnored());
    EXPECT_FALSE(server->listening());
}

TEST_F(ServerCalls, FailedServerIsNeitherRunNorFreed)
{
    abyss.serverError = "out of memory";
    start();
    abyss.calls.clear();
    EXPECT_EQ(server->Run(), 0);
    EXPECT_EQ(calls(), Calls{});
    EXPECT_EQ(callsOfDestructor(), (Calls{"ChanSwitchDestroy"} + releases));
}

TEST_F(ServerCalls, StartAfterFailedServerListens)
{
    abyss.serverError = "out of memory";
    start();
    abyss.serverError = nullptr;
    server->Start("", 8080);
    EXPECT_TRUE(server->listening());
    EXPECT_EQ(callsOfDestructor(), (Calls{"ServerFree", "ChanSwitchDestroy"} + releases));
}

TEST_F(ServerCalls, ConstructorLogsFaultOfEachStepAndGoesOn)
{
    abyss.environmentFails = true;
    abyss.registryFails = true;
    construct();
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{noEnvironment, place, noRegistry, place}));
    EXPECT_EQ(callsOfDestructor(), Calls{"xmlrpc_env_clean"});
}

TEST_F(ServerCalls, ConstructorLogsFailedRegistry)
{
    abyss.registryFails = true;
    construct();
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{noRegistry, place}));
}

TEST_F(ServerCalls, ServerWithoutRegistryRefusesMethodsAndServesNone)
{
    abyss.registryFails = true;
    construct();
    log.clear();
    server->AddFunction("RdHora", handler, nullptr);
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{noRegistry, place}));
    server->Start("", 8080);
    for (const std::string& call : calls())
        EXPECT_FALSE(call.starts_with("xmlrpc_server_abyss_set_handlers2"));
    EXPECT_EQ(callsOfDestructor(), (Calls{"ServerFree", "ChanSwitchDestroy", "xmlrpc_env_clean"}));
}

} // namespace
