// The client from construction to release: init(), resetConn(), cleanup() and their failures.
#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/fixture.h"
#include "support/groupinglocale.h"
#include "support/signals.h"
#include "support/xmlrpcspy.h"

using namespace support;

namespace {

using nelka::XmlrpcClient;

// `client` is only constructed.
class Lifecycle : public ClientTest {
protected:
    XmlrpcSpy spy;

    void SetUp() override { slave.play({replyArray({xml::i4(0)})}); }

    std::unique_ptr<XmlrpcClient> newClient() const
    {
        return std::make_unique<XmlrpcClient>("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    }

    static int faultOfACall(XmlrpcClient& caller)
    {
        caller.updateNTP(ampleTimeout);
        return caller.getFault();
    }

    static LogLine urlLine(const std::string& url) { return {LOG_INFO, "Server URL: " + url}; }
    static LogLine limitLine() { return debug("XMLRPC_XML_SIZE_LIMIT_DEFAULT: 1048576"); }

    std::string slaveUrl() const { return "http://127.0.0.1:" + std::to_string(slave.port()) + "/RPC2"; }
};

// Construction -----------------------------------------------------------------------------------------------------

TEST_F(Lifecycle, ConstructionOnlyStoresArguments)
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGALRM, SIG_DFL);
    {
        const XmlrpcClient fresh("127.0.0.1", slave.port(), "eth1", "app", "1.0");
        EXPECT_EQ(fresh.dbName, "");
        EXPECT_EQ(fresh.getFault(), 0);
    }
    EXPECT_EQ(spy.calls, std::vector<std::string>{});
    EXPECT_EQ(slave.connections(), 0U);
    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_EQ(disposition(SIGINT).sa_handler, SIG_DFL);
    EXPECT_EQ(disposition(SIGALRM).sa_handler, SIG_DFL);
}

TEST_F(Lifecycle, ConstructionInitialisesEnvironment)
{
    std::optional<XmlrpcClient> fresh;
    const auto construct = [&]() -> const xmlrpc_env& {
        return fresh.emplace("127.0.0.1", slave.port(), "eth1", "app", "1.0").environment();
    };
    const xmlrpc_env& env = construct(); // to know its address
    fresh.reset();
    spy.failNext(SetupStep::environment, -77, "at construction", &env);
    EXPECT_EQ(construct().fault_code, -77);
}

// init() -----------------------------------------------------------------------------------------------------------

TEST_F(Lifecycle, InitLogsUrlThenSizeLimit)
{
    XmlrpcClient remote("10.0.0.5", 8000, "eth0", "app", "1.0");
    EXPECT_EQ(remote.init(), 0);
    EXPECT_EQ(log.lines(), (Lines{urlLine("http://10.0.0.5:8000/RPC2"), limitLine()}));
}

TEST_F(Lifecycle, UrlHoldsHostAndPortAsGiven)
{
    struct Address {
        std::string host;
        unsigned short port;
        std::string url;
    };
    const std::vector<Address> addresses{{"192.168.1.20", 8080, "http://192.168.1.20:8080/RPC2"},
                                         {"127.0.0.1", 0, "http://127.0.0.1:0/RPC2"},
                                         {"127.0.0.1", 65535, "http://127.0.0.1:65535/RPC2"},
                                         {"[::1]", 8080, "http://[::1]:8080/RPC2"},
                                         {"::1", 8080, "http://::1:8080/RPC2"},
                                         {"50%s%n", 1, "http://50%s%n:1/RPC2"},
                                         {"", 80, "http://:80/RPC2"}};
    for (const Address& address : addresses) {
        log.clear();
        XmlrpcClient remote(address.host, address.port, "eth0", "app", "1.0");
        EXPECT_EQ(remote.init(), 0);
        EXPECT_EQ(log.lines().at(0), urlLine(address.url));
    }
}

TEST_F(Lifecycle, UrlIgnoresGroupingOfGlobalLocale)
{
    const GroupingLocale grouping;
    XmlrpcClient remote("10.0.0.5", 8080, "eth0", "app", "1.0");
    EXPECT_EQ(remote.init(), 0);
    EXPECT_EQ(log.lines().at(0), urlLine("http://10.0.0.5:8080/RPC2"));
}

TEST_F(Lifecycle, InitTakesItsStepsInOrder)
{
    EXPECT_EQ(client.init(), 0);
    EXPECT_EQ(spy.calls, (std::vector<std::string>{"setup_global_const", "create", "set_interrupt", "limit_set"}));
}

TEST_F(Lifecycle, InitSetsTransportParameters)
{
    XmlrpcClient remote("127.0.0.1", slave.port(), "eth1", "controller", "2.1");
    EXPECT_EQ(remote.init(), 0);
    ASSERT_EQ(spy.creations.size(), 1U);
    const Creation& creation = spy.creations[0];
    EXPECT_EQ(creation.flags, 0);
    EXPECT_EQ(creation.appName, "controller");
    EXPECT_EQ(creation.appVersion, "2.1");
    EXPECT_EQ(creation.transport, "curl");
    EXPECT_EQ(creation.transportParmSize, XMLRPC_CXPSIZE(timeout));
    EXPECT_EQ(creation.parmSize, XMLRPC_CPSIZE(transportparm_size));

    const xmlrpc_curl_xportparms& parms = creation.transportParms;
    EXPECT_TRUE(parms.no_ssl_verifypeer);
    EXPECT_TRUE(parms.no_ssl_verifyhost);
    EXPECT_EQ(creation.userAgent, "controller/2.1");
    EXPECT_TRUE(parms.sslengine_default);
    EXPECT_EQ(parms.timeout, 17000U);
    for (const char* text : {parms.network_interface, parms.ssl_cert, parms.sslcerttype, parms.sslcertpasswd,
                             parms.sslkey, parms.sslkeytype, parms.sslkeypasswd, parms.sslengine, parms.cainfo,
                             parms.capath, parms.randomfile, parms.egdsocket, parms.ssl_cipher_list})
        EXPECT_EQ(text, nullptr);
    EXPECT_EQ(parms.sslversion, XMLRPC_SSLVERSION_DEFAULT);
}

TEST_F(Lifecycle, UserAgentBeginsWithApplicationNameAndVersion)
{
    XmlrpcClient remote("127.0.0.1", slave.port(), "eth1", "controller", "2.1");
    ASSERT_EQ(remote.init(), 0);
    EXPECT_EQ(faultOfACall(remote), 0);
    const std::string request = slave.requests().at(0);
    EXPECT_NE(request.find("\r\nUser-Agent: controller/2.1 "), std::string::npos) << request;
}

TEST_F(Lifecycle, CallsArePostedToRpc2)
{
    ASSERT_EQ(client.init(), 0);
    EXPECT_EQ(faultOfACall(client), 0);
    EXPECT_TRUE(slave.requests().at(0).starts_with("POST /RPC2 HTTP/1.1\r\n")) << slave.requests()[0];
}

TEST_F(Lifecycle, EveryInitSetsSizeLimitToOneMebibyte)
{
    ASSERT_EQ(client.init(), 0);
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, 1000);
    spy.limits.clear();
    EXPECT_EQ(client.resetConn(), 0);
    EXPECT_EQ(spy.limits, (std::vector<std::pair<int, std::size_t>>{{XMLRPC_XML_SIZE_LIMIT_ID, 1'048'576}}));
    EXPECT_EQ(xmlrpc_limit_get(XMLRPC_XML_SIZE_LIMIT_ID), 1'048'576U);
}

TEST_F(Lifecycle, ClientsShareOneInterruptFlag)
{
    ASSERT_EQ(client.init(), 0);
    const int* const flag = spy.interruptFlag;
    const std::unique_ptr<XmlrpcClient> other = newClient();
    ASSERT_EQ(other->init(), 0);
    EXPECT_EQ(spy.interruptFlag, flag);
}

TEST_F(Lifecycle, InitLowersFlagRaisedEarlier)
{
    ASSERT_EQ(client.init(), 0);
    std::raise(SIGINT);
    EXPECT_EQ(*spy.interruptFlag, 1);
    EXPECT_EQ(client.resetConn(), 0);
    EXPECT_EQ(*spy.interruptFlag, 0);
    log.clear();
    std::raise(SIGINT);
    EXPECT_EQ(log.lines(), (Lines{signalLine("SIGINT")}));
}

TEST_F(Lifecycle, InitLeavesFaultState)
{
    client.setFault(7);
    EXPECT_EQ(client.init(), 0);
    EXPECT_EQ(client.getFault(), 7);
}

TEST_F(Lifecycle, InitLeavesTimer)
{
    client.set_timer(60000);
    EXPECT_EQ(client.init(), 0);
    EXPECT_GT(timerLeft(), std::chrono::seconds(50));
}

// Failures of init() -----------------------------------------------------------------------------------------------

struct Failure {
    const char* name;
    SetupStep step;
    int setupsKept; ///< until cleanup()
};

std::ostream& operator<<(std::ostream& out, const Failure& failure)
{
    return out << failure.name;
}

class FailedInit : public Lifecycle, public ::testing::WithParamInterface<Failure> {
protected:
    static constexpr int code = -509;

    // Set by the URL's log line, because cleanup() may renew the environment too.
    void failNext()
    {
        static FailedInit* test;
        test = this;
        LogRecorder::duringLogCall = [] {
            LogRecorder::duringLogCall = nullptr;
            test->spy.failNext(GetParam().step, code, "not today", &test->client.environment());
        };
    }
};

TEST_P(FailedInit, ReturnsFaultCodeAndLogsTwoLines)
{
    failNext();
    EXPECT_EQ(client.init(), code);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{urlLine(slaveUrl()), error("XML-RPC Fault: not today (0xfffffe03)\n"), place()}));
}

TEST_P(FailedInit, ShowsInEnvironmentAndLeavesFaultState)
{
    client.setFault(7);
    failNext();
    client.init();
    EXPECT_EQ(client.environment().fault_code, code);
    EXPECT_STREQ(client.environment().fault_string, "not today");
    EXPECT_EQ(client.getFault(), 7);
}

TEST_P(FailedInit, LeavesSignalHandlersInstalled)
{
    std::signal(SIGINT, SIG_DFL);
    failNext();
    client.init();
    EXPECT_EQ(disposition(SIGINT).sa_handler, &XmlrpcClient::interruptRpc);
    EXPECT_EQ(disposition(SIGALRM).sa_handler, &XmlrpcClient::interruptRpc);
}

TEST_P(FailedInit, UndoesNothingUntilCleanup)
{
    failNext();
    client.init();
    EXPECT_EQ(spy.globalSetups, GetParam().setupsKept);
    client.cleanup();
    EXPECT_EQ(spy.globalSetups, 0);
    EXPECT_EQ(spy.clients, 0);
}

TEST_P(FailedInit, MakesOperationsEndAsNotReady)
{
    failNext();
    client.init();
    EXPECT_EQ(faultOfACall(client), -500);
    EXPECT_STREQ(client.environment().fault_string, "client not ready");
    EXPECT_EQ(spy.remoteCalls, 0);
    EXPECT_EQ(slave.connections(), 0U);
}

TEST_P(FailedInit, WorksAfterResetConn)
{
    failNext();
    client.init();
    EXPECT_EQ(client.resetConn(), 0);
    EXPECT_EQ(faultOfACall(client), 0);
    client.cleanup();
    EXPECT_EQ(spy.globalSetups, 0);
    EXPECT_EQ(spy.clients, 0);
}

TEST_P(FailedInit, WorksAfterAnotherInit)
{
    failNext();
    client.init();
    EXPECT_EQ(client.init(), 0);
    EXPECT_EQ(faultOfACall(client), 0);
}

TEST_P(FailedInit, InResetConnIsItsResult)
{
    ASSERT_EQ(client.init(), 0);
    failNext();
    EXPECT_EQ(client.resetConn(), code);
    EXPECT_EQ(faultOfACall(client), -500);
}

TEST_P(FailedInit, InUpdateHostInterfazIsItsResultAndKeepsHost)
{
    ASSERT_EQ(client.init(), 0);
    failNext();
    EXPECT_EQ(client.updateHostInterfaz("127.0.0.2", "eth0"), code);
    EXPECT_EQ(faultOfACall(client), -500);
    log.clear();
    EXPECT_EQ(client.resetConn(), 0);
    EXPECT_EQ(log.lines().at(0), urlLine("http://127.0.0.2:" + std::to_string(slave.port()) + "/RPC2"));
}

INSTANTIATE_TEST_SUITE_P(Steps, FailedInit,
                         ::testing::Values(Failure{"Environment", SetupStep::environment, 0},
                                           Failure{"GlobalConst", SetupStep::globalConst, 0},
                                           Failure{"Client", SetupStep::client, 1}),
                         ::testing::PrintToStringParamName());

// cleanup() and destruction ----------------------------------------------------------------------------------------

TEST_F(Lifecycle, CleanupDestroysClientThenTearsDown)
{
    ASSERT_EQ(client.init(), 0);
    spy.calls.clear();
    client.cleanup();
    EXPECT_EQ(spy.calls, (std::vector<std::string>{"destroy", "teardown_global_const"}));
}

TEST_F(Lifecycle, CleanupWithoutInitReleasesNothing)
{
    client.cleanup();
    client.cleanup();
    EXPECT_EQ(spy.calls, std::vector<std::string>{});
}

TEST_F(Lifecycle, CleanupLogsNothingAndLeavesHandlersFlagAndFault)
{
    ASSERT_EQ(client.init(), 0);
    std::raise(SIGALRM);
    client.setFault(7);
    log.clear();
    client.cleanup();
    EXPECT_EQ(log.lines(), Lines{});
    EXPECT_EQ(disposition(SIGINT).sa_handler, &XmlrpcClient::interruptRpc);
    EXPECT_EQ(disposition(SIGALRM).sa_handler, &XmlrpcClient::interruptRpc);
    EXPECT_EQ(*spy.interruptFlag, 1);
    EXPECT_EQ(client.getFault(), 7);
}

TEST_F(Lifecycle, DestructionThroughBaseReleasesEverything)
{
    std::unique_ptr<XmlrpcClient> doomed = newClient();
    ASSERT_EQ(doomed->init(), 0);
    doomed->dbName = "modulo";
    std::unique_ptr<nelkadb::CDB> base = std::move(doomed);
    base.reset();
    EXPECT_EQ(spy.clients, 0);
    EXPECT_EQ(spy.globalSetups, 0);
}

// What a client may be told between construction and destruction, and what it then holds.
struct Move {
    char letter;
    int (*make)(XmlrpcClient&, XmlrpcSpy&);
    int clients;
    int globalSetups;
};

const std::vector<Move> moves{
    {'c',
     [](XmlrpcClient& client, XmlrpcSpy&) {
         client.cleanup();
         return 0;
     },
     0, 0},
    {'r', [](XmlrpcClient& client, XmlrpcSpy&) { return client.resetConn(); }, 1, 1},
    {'u', [](XmlrpcClient& client, XmlrpcSpy&) { return client.updateHostInterfaz("127.0.0.1", "eth2"); }, 1, 1},
    {'g',
     [](XmlrpcClient& client, XmlrpcSpy& spy) {
         spy.failNext(SetupStep::globalConst, -500, "not today");
         return client.resetConn() + 500;
     },
     0, 0},
    {'n',
     [](XmlrpcClient& client, XmlrpcSpy& spy) {
         spy.failNext(SetupStep::client, -500, "not today");
         return client.resetConn() + 500;
     },
     0, 1},
};

TEST_F(Lifecycle, AnySequenceStaysBalancedAndAllowsInit)
{
    constexpr std::size_t length = 4;
    std::size_t sequences = 1;
    for (std::size_t i = 0; i < length; ++i)
        sequences *= moves.size();
    for (std::size_t sequence = 0; sequence < sequences; ++sequence) {
        std::string letters;
        std::unique_ptr<XmlrpcClient> subject = newClient();
        for (std::size_t rest = sequence, i = 0; i < length; ++i, rest /= moves.size()) {
            const Move& move = moves[rest % moves.size()];
            letters += move.letter;
            ASSERT_EQ(move.make(*subject, spy), 0) << letters;
            ASSERT_EQ(spy.clients, move.clients) << letters;
            ASSERT_EQ(spy.globalSetups, move.globalSetups) << letters;
        }
        subject.reset();
        ASSERT_EQ(spy.clients, 0) << letters;
        ASSERT_EQ(spy.globalSetups, 0) << letters;
        ASSERT_EQ(newClient()->init(), 0) << letters;
    }
}

TEST_F(Lifecycle, ClientsAreReleasedInAnyOrder)
{
    std::array<std::size_t, 3> order{0, 1, 2};
    do {
        std::array<std::unique_ptr<XmlrpcClient>, 3> clients{newClient(), newClient(), newClient()};
        for (const auto& each : clients)
            ASSERT_EQ(each->init(), 0);
        for (std::size_t i = 0; i < order.size(); ++i) {
            std::unique_ptr<XmlrpcClient>& released = clients[order[i]];
            i % 2 ? released.reset() : released->cleanup();
            const int left = static_cast<int>(order.size() - i) - 1;
            EXPECT_EQ(spy.clients, left);
            EXPECT_EQ(spy.globalSetups, left);
            for (std::size_t later = i + 1; later < order.size(); ++later)
                EXPECT_EQ(faultOfACall(*clients[order[later]]), 0);
        }
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_EQ(spy.globalSetups, 0);
}

TEST_F(Lifecycle, SecondInitWithoutCleanupLeaksClientAndSetup)
{
    ASSERT_EQ(client.init(), 0);
    EXPECT_EQ(client.init(), 0);
    EXPECT_EQ(faultOfACall(client), 0);
    client.cleanup();
    client.cleanup();
    EXPECT_EQ(spy.clients, 1);
    EXPECT_EQ(spy.globalSetups, 1);

    ASSERT_EQ(spy.creations.size(), 2U);
    xmlrpc_client_destroy(spy.creations[0].client);
    xmlrpc_client_teardown_global_const();
}

// resetConn() and updateHostInterfaz() -----------------------------------------------------------------------------

TEST_F(Lifecycle, ResetConnMakesConstructedClientReady)
{
    EXPECT_EQ(client.resetConn(), 0);
    EXPECT_EQ(log.lines(), (Lines{urlLine(slaveUrl()), limitLine()}));
    EXPECT_EQ(faultOfACall(client), 0);
}

TEST_F(Lifecycle, ResetConnReconnects)
{
    ASSERT_EQ(client.init(), 0);
    EXPECT_EQ(faultOfACall(client), 0);
    EXPECT_EQ(faultOfACall(client), 0);
    EXPECT_EQ(slave.connections(), 1U);
    EXPECT_EQ(client.resetConn(), 0);
    EXPECT_EQ(faultOfACall(client), 0);
    EXPECT_EQ(slave.connections(), 2U);
}

TEST_F(Lifecycle, UpdateHostInterfazChangesHostAndKeepsPort)
{
    XmlrpcClient remote("10.0.0.5", 8000, "eth0", "app", "1.0");
    ASSERT_EQ(remote.init(), 0);
    log.clear();
    EXPECT_EQ(remote.updateHostInterfaz("10.0.0.6", "eth1"), 0);
    EXPECT_EQ(log.lines(), (Lines{urlLine("http://10.0.0.6:8000/RPC2"), limitLine()}));
}

TEST_F(Lifecycle, NextCallAfterUpdateHostInterfazReachesNewHost)
{
    XmlrpcClient remote("127.0.0.2", slave.port(), "eth1", "app", "1.0");
    ASSERT_EQ(remote.init(), 0);
    EXPECT_EQ(faultOfACall(remote), -504);
    EXPECT_EQ(remote.updateHostInterfaz("127.0.0.1", "eth1"), 0);
    EXPECT_EQ(faultOfACall(remote), 0);
    log.clear();
    int status = -7;
    remote.setRefrescoWeb(1, status, ampleTimeout);
    EXPECT_EQ(log.lines().at(0), debug("setRefrescoWeb : host : 127.0.0.1 valor: 1"));
}

TEST_F(Lifecycle, InterfaceDoesNotAffectConnection)
{
    ASSERT_EQ(client.init(), 0);
    EXPECT_EQ(client.updateHostInterfaz("127.0.0.1", "no-such-interface"), 0);
    EXPECT_EQ(spy.creations.at(1).transportParms.network_interface, nullptr);
    EXPECT_EQ(faultOfACall(client), 0);
}

} // namespace
