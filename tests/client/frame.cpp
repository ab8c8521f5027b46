// The frame of every operation, tested through a few: getAlarmasEstadoControlador and execQuery measure the reply
// first, updateNTP and resetModuleToFactorySettings do not.
#include <csignal>

#include "support/fixture.h"
#include "support/signals.h"
#include "support/xmlrpcspy.h"

using namespace support;

namespace {

using std::chrono::microseconds;

class Frame : public ClientTest {
protected:
    XmlrpcSpy spy;

    // Presets, which untouched outputs keep.
    static constexpr int presetStatus = -7001;
    static constexpr const char* presetText = "preset";
    int status = presetStatus;
    std::string text = presetText;

    const std::string alarmsMessage = "getAlarmasEstadoControlador : host : 127.0.0.1";

    void askAlarms(int timeout = ampleTimeout) { client.getAlarmasEstadoControlador(text, status, timeout); }

    void expectOutputsUntouched() const
    {
        EXPECT_EQ(status, presetStatus);
        EXPECT_EQ(text, presetText);
    }

    // Whatever happened before, the next call must work.
    void expectTheNextCallToSucceed()
    {
        slave.play({replyArray({xml::i4(0)})});
        client.updateNTP(ampleTimeout);
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_EQ(spy.callsOnFaultyEnvironment, 0);
        EXPECT_FALSE(client.environment().fault_occurred);
        EXPECT_EQ(slave.calls().size(), 1U);
    }
};

// Replies --------------------------------------------------------------------------------------------------------

TEST_F(Frame, GoodReplyIsDeliveredWithoutFault)
{
    client.setFault(7);
    slave.play({replyArray({xml::i4(0), xml::text("temperatura")})});
    askAlarms();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(text, "temperatura");
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_FALSE(client.environment().fault_occurred);
    EXPECT_EQ(log.lines(), (Lines{debug(alarmsMessage), armed(ampleTimeout), disarmed()}));
    EXPECT_EQ(timerLeft(), microseconds(0));
    EXPECT_EQ(spy.resultsReleased, 1);
}

TEST_F(Frame, RefusalDeliversPayloadAndSetsFault)
{
    slave.play({replyArray({xml::i4(3), xml::text("temperatura")})});
    askAlarms();
    EXPECT_EQ(text, "temperatura");
    EXPECT_EQ(status, 3);
    EXPECT_EQ(client.getFault(), 3);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug(alarmsMessage), armed(ampleTimeout), disarmed(), refusedLine(alarmsMessage, 3), place()}));
    EXPECT_FALSE(client.environment().fault_occurred);
    EXPECT_EQ(spy.resultsReleased, 1);
}

// Failed transport -----------------------------------------------------------------------------------------------

struct Failure {
    const char* name;
    Step step;
    int fault;
};

std::ostream& operator<<(std::ostream& out, const Failure& failure)
{
    return out << failure.name;
}

// A good reply of [0, text] that is `bytes` long.
Step replyOfSize(std::size_t bytes)
{
    const std::size_t frame = xml::response(xml::array({xml::i4(0), xml::text("")})).size();
    return replyArray({xml::i4(0), xml::text(std::string(bytes - frame, 'x'))});
}

constexpr std::size_t mebibyte = 1'048'576;

class FailedTransport : public Frame, public ::testing::WithParamInterface<Failure> {};

TEST_P(FailedTransport, SetsFaultLogsTwoLinesAndLeavesTimerRunning)
{
    slave.play({GetParam().step});
    askAlarms();
    EXPECT_EQ(client.getFault(), GetParam().fault);
    EXPECT_TRUE(client.environment().fault_occurred);
    EXPECT_EQ(client.environment().fault_code, GetParam().fault);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug(alarmsMessage), armed(ampleTimeout), faultLine(alarmsMessage), place()}));
    EXPECT_GT(timerLeft(), microseconds(0));
    EXPECT_LE(timerLeft(), std::chrono::milliseconds(ampleTimeout));
    EXPECT_EQ(*spy.interruptFlag, 0);
    EXPECT_EQ(spy.resultsReceived, 0);
    expectOutputsUntouched();
}

TEST_P(FailedTransport, LeavesNextCallWorking)
{
    slave.play({GetParam().step});
    askAlarms();
    expectTheNextCallToSucceed();
}

const Step goodReply = replyArray({xml::i4(0), xml::text("temperatura")});

INSTANTIATE_TEST_SUITE_P(
    Kinds, FailedTransport,
    ::testing::Values(
        Failure{"ServerError", serverError(), -504},
        Failure{"NotFound", http("HTTP/1.1 404 Not Found", "Content-Length: 0\r\n", ""), -504},
        Failure{"Redirection", http("HTTP/1.1 302 Found", "Location: /RPC2\r\nContent-Length: 0\r\n", ""), -504},
        Failure{"EmptyBody", ok(""), -503}, Failure{"NoXml", ok("hello"), -503},
        Failure{"NoMethodResponse", ok("<?xml version=\"1.0\"?><other/>"), -503},
        Failure{"TruncatedBody", cutAt(goodReply, goodReply.bytes.size() - 20, Step::Then::close), -504},
        Failure{"TruncatedHeaders", cutAt(goodReply, 20, Step::Then::close), -503},
        Failure{"ResetConnection", resetAfterRequest(), -504}, Failure{"ClosedConnection", thenClose(silence()), -504},
        Failure{"FaultResponse", replyFault(-77, "no hay"), -77},
        Failure{"PositiveFaultResponse", replyFault(3, "no hay"), 3},
        Failure{"FaultResponseOfZero", replyFault(0, "no hay"), 0}, Failure{"TooDeep", reply(xml::nested(64)), -503},
        Failure{"TooLarge", replyOfSize(mebibyte + 1), -509}),
    ::testing::PrintToStringParamName());

TEST_F(Frame, ErrorNamesSourceLine)
{
    slave.play({thenClose(silence())});
    askAlarms();
    const std::string place = log.lines().back().text;
    int line = 0;
    EXPECT_EQ(std::sscanf(place.c_str(), "Error in file src/xmlrpclient.cpp, line %d\n", &line), 1) << place;
    EXPECT_GT(line, 1);
}

TEST_F(Frame, FaultResponseIsLoggedWithTextAndCode)
{
    slave.play({replyFault(-77, "no 100% hay")});
    askAlarms();
    EXPECT_EQ(log.lines().at(2),
              error("ERROR en XML-RPC: mensaje : getAlarmasEstadoControlador : host : 127.0.0.1, error : RPC failed at "
                    "server.  no 100% hay (0xffffffb3)\n"));
}

TEST_F(Frame, ReplyOfOneMebibyteIsAccepted)
{
    slave.play({replyOfSize(mebibyte)});
    askAlarms();
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_GT(text.size(), mebibyte - 1000);
}

// Time-outs ------------------------------------------------------------------------------------------------------

TEST_F(Frame, SuccessWithRaisedFlagIsTimeoutAndReleasesReply)
{
    slave.play({goodReply});
    spy.afterCall = [] { std::raise(SIGALRM); };
    askAlarms();
    spy.afterCall = nullptr;
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(spy.resultsReceived, 1);
    EXPECT_EQ(spy.resultsReleased, 1);
    EXPECT_EQ(*spy.interruptFlag, 0);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug(alarmsMessage), armed(ampleTimeout), signalLine("SIGALRM"), timeoutLine(alarmsMessage)}));
    EXPECT_GT(timerLeft(), microseconds(0));
    expectOutputsUntouched();
    EXPECT_EQ(client.environment().fault_code, XMLRPC_TIMEOUT_ERROR);
    EXPECT_STREQ(client.environment().fault_string, "the call was cut short");
    expectTheNextCallToSucceed();
}

TEST_F(Frame, RaisedFlagPrecedesTransportFault)
{
    slave.play({thenClose(silence())});
    spy.afterCall = [] { std::raise(SIGINT); };
    askAlarms();
    spy.afterCall = nullptr;
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug(alarmsMessage), armed(ampleTimeout), signalLine("SIGINT"), timeoutLine(alarmsMessage)}));
    EXPECT_EQ(*spy.interruptFlag, 0);
    expectTheNextCallToSucceed();
}

TEST_F(Frame, FlagRaisedBetweenCallsIsLowered)
{
    std::raise(SIGINT);
    EXPECT_EQ(*spy.interruptFlag, 1);
    spy.beforeCall = [this] { EXPECT_EQ(*spy.interruptFlag, 0); };
    expectTheNextCallToSucceed();
}

// Around the calls -----------------------------------------------------------------------------------------------

TEST_F(Frame, FaultStateIsClearedBeforeCall)
{
    client.setFault(7);
    slave.play({goodReply});
    int during = presetStatus;
    spy.beforeCall = [this, &during] { during = client.getFault(); };
    askAlarms();
    EXPECT_EQ(during, 0);
}

TEST_F(Frame, FaultOfFillShowsInEnvironmentUntilNextCall)
{
    slave.play({replyArray({xml::i4(0), xml::array({xml::i4(5)})})});
    nelkadb::ResultSet rows;
    client.getTable("consulta", rows, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_TRUE(client.environment().fault_occurred);
    expectTheNextCallToSucceed();
}

TEST_F(Frame, EnvironmentIsOfLastCall)
{
    slave.play({replyFault(-77, "no hay")});
    askAlarms();
    EXPECT_TRUE(client.environment().fault_occurred);
    EXPECT_EQ(client.environment().fault_code, -77);
    EXPECT_STREQ(client.environment().fault_string, "RPC failed at server.  no hay");
    slave.play({goodReply});
    askAlarms();
    EXPECT_FALSE(client.environment().fault_occurred);
}

TEST_F(Frame, ClientWorksAfterFaultsOfManyKinds)
{
    slave.play({replyFault(-77, "no hay"), reply(xml::i4(0)),
                http("HTTP/1.1 404 Not Found", "Content-Length: 0\r\n", ""), ok(""), replyArray({}), goodReply});
    std::vector<int> faults;
    for (int i = 0; i < 6; ++i) {
        int result = 0;
        client.execQuery("consulta", result, "tabla", ampleTimeout);
        faults.push_back(client.getFault());
    }
    EXPECT_EQ(faults, (std::vector<int>{-77, -501, -504, -503, -502, -501}));
    EXPECT_EQ(spy.callsOnFaultyEnvironment, 0);
    expectTheNextCallToSucceed();
}

TEST_F(Frame, FailedCallIsNotRepeated)
{
    slave.play({http("HTTP/1.1 503 Service Unavailable", "Content-Length: 0\r\n", "")});
    askAlarms();
    EXPECT_EQ(slave.requests().size(), 1U);
    EXPECT_EQ(spy.remoteCalls, 1);
}

TEST_F(Frame, DebugLineIsNoFormatString)
{
    slave.play({replyArray({xml::i4(3)})});
    client.ejecutar_script("100%s%n", ampleTimeout);
    EXPECT_EQ(log.lines().at(0), debug("ejecutar_script : nombre_script : 100%s%n"));
    EXPECT_EQ(log.linesWithoutNumbers().at(4), refusedLine("ejecutar_script : nombre_script : 100%s%n", 3));
}

// Clients that are not ready -------------------------------------------------------------------------------------

struct Unready {
    const char* name;
    void (*make)(nelka::XmlrpcClient&, XmlrpcSpy&);
};

std::ostream& operator<<(std::ostream& out, const Unready& unready)
{
    return out << unready.name;
}

class NotReady : public Frame, public ::testing::WithParamInterface<Unready> {
protected:
    // `client` is constructed and brought into the state of the parameter.
    void SetUp() override
    {
        GetParam().make(client, spy);
        log.clear();
    }
};

TEST_P(NotReady, OperationEndsWithInternalFault)
{
    client.setFault(7);
    askAlarms();
    EXPECT_EQ(client.getFault(), -500);
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{debug(alarmsMessage), notReadyLine(alarmsMessage), place()}));
    expectOutputsUntouched();
}

TEST_P(NotReady, ProbeEndsWithInternalFault)
{
    ::testing::internal::CaptureStdout();
    client.sampleadd(ampleTimeout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(client.getFault(), -500);
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{notReadyLine("sampleadd : host : 127.0.0.1"), place()}));
}

TEST_P(NotReady, LeavesTimer)
{
    const itimerval minute{{0, 0}, {60, 0}};
    setitimer(ITIMER_REAL, &minute, nullptr);
    askAlarms();
    EXPECT_GT(timerLeft(), std::chrono::seconds(50));
}

TEST_P(NotReady, SendsNothing)
{
    slave.play({goodReply});
    const std::size_t before = slave.connections();
    askAlarms();
    EXPECT_EQ(slave.connections(), before);
    EXPECT_EQ(slave.requests().size(), 0U);
    EXPECT_EQ(spy.remoteCalls, 0);
}

TEST_P(NotReady, ShowsInEnvironment)
{
    askAlarms();
    EXPECT_EQ(client.environment().fault_code, -500);
    EXPECT_STREQ(client.environment().fault_string, "client not ready");
}

TEST_P(NotReady, WorksAfterResetConn)
{
    askAlarms();
    askAlarms();
    EXPECT_EQ(client.resetConn(), 0);
    expectTheNextCallToSucceed();
}

INSTANTIATE_TEST_SUITE_P(States, NotReady,
                         ::testing::Values(Unready{"Constructed", [](nelka::XmlrpcClient&, XmlrpcSpy&) {}},
                                           Unready{"Released",
                                                   [](nelka::XmlrpcClient& client, XmlrpcSpy&) {
                                                       client.init();
                                                       client.cleanup();
                                                   }},
                                           Unready{"SetupFailed",
                                                   [](nelka::XmlrpcClient& client, XmlrpcSpy& spy) {
                                                       spy.failNext(SetupStep::globalConst, -504, "not today");
                                                       client.init();
                                                   }},
                                           Unready{"CreationFailed",
                                                   [](nelka::XmlrpcClient& client, XmlrpcSpy& spy) {
                                                       spy.failNext(SetupStep::client, -504, "not today");
                                                       client.init();
                                                   }},
                                           Unready{"ResetFailed",
                                                   [](nelka::XmlrpcClient& client, XmlrpcSpy& spy) {
                                                       client.init();
                                                       spy.failNext(SetupStep::client, -504, "not today");
                                                       client.resetConn();
                                                   }}),
                         ::testing::PrintToStringParamName());

} // namespace
