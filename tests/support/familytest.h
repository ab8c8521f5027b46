// What holds for every remote operation that asks the slave, as tests that each family runs over its own operations:
//
//     INSTANTIATE_TEST_SUITE_P(Database, RemoteOperation, family("database"), operationName);
//
// A family's file adds what is peculiar to each operation.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <locale>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "fixture.h"
#include "operations.h"
#include "signals.h"
#include "xmlrpcspy.h"

namespace support {

/// The body of a request, its parameters given as they travel: requestBody("RdHora", {"<i4>1</i4>"}).
inline std::string requestBody(const std::string& method, const std::vector<std::string>& parameters)
{
    std::string body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
                       "<methodCall>\r\n"
                       "<methodName>"
                       + method
                       + "</methodName>\r\n"
                         "<params>\r\n";
    for (const std::string& parameter : parameters)
        body += "<param><value>" + parameter + "</value></param>\r\n";
    return body
           + "</params>\r\n"
             "</methodCall>\r\n";
}

/// A client whose database is named.
class FamilyTest : public ClientTest {
protected:
    XmlrpcSpy spy;

    void SetUp() override
    {
        ClientTest::SetUp();
        client.dbName = "modulo";
    }

    void TearDown() override
    {
        spy.releaseKeptResult();
        ClientTest::TearDown();
    }

    /// The lines of a call that was replied to: those of every call, then `rest`.
    static std::vector<LogLine> replied(const std::string& message, const std::vector<LogLine>& rest = {})
    {
        std::vector<LogLine> lines{debug(message), armed(ampleTimeout), disarmed()};
        lines.insert(lines.end(), rest.begin(), rest.end());
        return lines;
    }

    /// Makes the slave's next reply this array, and forgets the log.
    void answerWith(const std::vector<std::string>& values)
    {
        spy.releaseKeptResult();
        slave.play({replyArray(values)});
        log.clear();
    }
};

/// A reply, and how far it can be decoded.
struct Answer {
    static constexpr std::size_t noArray = SIZE_MAX;

    std::size_t size;    ///< its elements
    std::size_t decoded; ///< how many of the leading ones are decoded
    int status;          ///< the slave's; 0 when it is not decoded
};

/// The lines that an operation writes of its own, once the timer is disarmed and before any error is reported.
inline std::vector<LogLine> notes(const Operation& operation, const Answer& answer)
{
    const auto note = [](const std::string& text) { return std::vector<LogLine>{{LOG_DEBUG, text}}; };
    const bool whole = answer.decoded == 2;
    if (operation.name == "xmlrpc_changes" && whole)
        return note("check_changes result " + std::to_string(answer.status)
                    + ", tmp_changes : " + operation.delivered(answer.status).front());
    if (operation.name == "getHoraModulo" && whole)
        return note("horaActual " + operation.delivered(answer.status).front());
    if (operation.name == "ejecutar_script")
        return note("ejecutar_script result " + std::to_string(answer.status));
    if (answer.size == Answer::noArray)
        return {};
    if (operation.name == "generarJSONWeb")
        return note("size " + std::to_string(answer.size));
    if (operation.name == "rdFicheroTablasSI" && answer.size != 1)
        return note("longitud " + std::to_string(whole ? operation.delivered(answer.status).front().size() : 0));
    return {};
}

class RemoteOperation : public FamilyTest, public ::testing::WithParamInterface<Operation> {
protected:
    struct WrongReply {
        std::string value;
        Answer answer;
        int code;
        bool raises; ///< for want of a text
    };

    const Operation& operation = GetParam();
    const std::string shape = operation.types();
    const bool hasShortForm = !operation.shortReply.empty();
    const std::string message = operation.message(ampleTimeout);
    const std::vector<std::string> presets = operation.read({});

    bool raised = false; ///< whether the last call ended with std::logic_error
    int released = 0;    ///< how often it released its reply

    /// The outputs after a call to a slave that does this.
    std::vector<std::string> callWith(const Step& step, int timeout = ampleTimeout)
    {
        spy.releaseKeptResult();
        slave.play({step});
        log.clear();
        Variables variables;
        raised = false;
        try {
            operation.call(client, variables, timeout);
        } catch (const std::logic_error&) {
            raised = true;
        }
        released = spy.resultsReleased;
        return operation.read(variables);
    }

    /// The outputs after an answer: what was decoded straight into them, and what is copied to them.
    std::vector<std::string> outputsAfter(const Answer& answer) const
    {
        const std::vector<std::string> delivered = operation.delivered(answer.status);
        const bool whole = answer.decoded == shape.size();
        const bool longForm = answer.size != Answer::noArray && !(hasShortForm && answer.size == 1);
        std::vector<std::string> expected = presets;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const Kind kind = operation.outputs[i].kind;
            if (whole || (kind == Kind::status && answer.decoded > operation.statusAt)
                || (kind == Kind::integer && answer.decoded > shape.rfind('i')))
                expected[i] = delivered[i];
            else if (kind == Kind::block && longForm)
                expected[i].clear();
        }
        return expected;
    }

    void expectDelivery(const std::vector<std::string>& values, int status)
    {
        SCOPED_TRACE(xml::array(values));
        const Answer answer{values.size(), std::min(values.size(), shape.size()), status};
        const bool refused = operation.refuses(status);
        std::vector<LogLine> rest = notes(operation, answer);
        if (refused)
            rest.insert(rest.end(), {refusedLine(message, status), place()});

        EXPECT_EQ(callWith(replyArray(values)), outputsAfter(answer));
        EXPECT_EQ(client.getFault(), refused ? status : 0);
        EXPECT_EQ(log.linesWithoutNumbers(), replied(message, rest));
        EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
        EXPECT_EQ(released, refused && operation.kept == Kept::whenRefused ? 0 : 1);
    }

    void expectFailure(int code, const std::vector<LogLine>& lines)
    {
        EXPECT_EQ(client.getFault(), code);
        EXPECT_EQ(log.linesWithoutNumbers(), lines);
    }

    void expectWorkingClient()
    {
        EXPECT_EQ(callWith(replyArray(operation.sampleReply(0))), operation.delivered(0));
        EXPECT_EQ(client.getFault(), 0);
    }

    static std::vector<std::pair<Step, int>> transportFaults()
    {
        return {{resetAfterRequest(), -504},
                {http("HTTP/1.1 500 Internal Server Error", "Content-Length: 0\r\n", ""), -504},
                {ok("agotado"), -503},
                {replyFault(-77, "agotado"), -77},
                {replyFault(42, "agotado"), 42},
                {replyFault(0, "agotado"), 0}};
    }

    /// Every type that does not belong at each place, every length too short, and all that is no array.
    std::vector<WrongReply> wrongReplies() const
    {
        static const std::vector<std::pair<char, std::string>> values{
            {'i', xml::i4(5)},       {'I', xml::i8(6)},        {'b', xml::boolean(true)},
            {'d', xml::real("1.5")}, {'s', xml::text("otro")}, {'6', xml::base64("otro")},
            {'n', xml::nil()},       {'A', xml::array({})},    {'S', xml::structure({{"a", xml::i4(1)}})}};
        constexpr int status = 3;
        const std::vector<std::string> good = operation.sampleReply(status);

        std::vector<WrongReply> all;
        for (const auto& [type, value] : values) {
            for (std::size_t at = 0; at < shape.size(); ++at) {
                std::vector<std::string> elements = good;
                elements[at] = value;
                if (type != shape[at])
                    all.push_back({xml::array(elements),
                                   {elements.size(), at, at > operation.statusAt ? status : 0},
                                   -501,
                                   operation.throwsWithoutText()});
            }
            if (hasShortForm && type != 'i')
                all.push_back({xml::array({value}), {1, 0, 0}, -501, false});
            if (type != 'A')
                all.push_back({value, {Answer::noArray, 0, 0}, -501, operation.throwsWithoutText() && !hasShortForm});
        }
        for (std::vector<std::string> elements = good; !elements.empty();) {
            elements.pop_back();
            if (elements.size() != 1 || !hasShortForm)
                all.push_back({xml::array(elements), {elements.size(), 0, 0}, -502, operation.throwsWithoutText()});
        }
        return all;
    }
};

TEST_P(RemoteOperation, SendsWhatAnotherDecoderReadsBack)
{
    callWith(replyArray(operation.sampleReply(0)));
    const std::vector<xml::Request> calls = slave.calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].method, operation.remote);
    EXPECT_EQ(calls[0].parameters, operation.parameters);
}

TEST_P(RemoteOperation, DeliversAReplyWhateverItsStatus)
{
    for (const int status : {0, 1, -1, INT_MAX, INT_MIN})
        expectDelivery(operation.sampleReply(status), status);
}

TEST_P(RemoteOperation, IgnoresWhatFollowsInTheReply)
{
    std::vector<std::string> values = operation.sampleReply(0);
    values.insert(values.end(), {xml::text("x"), xml::i4(5)});
    expectDelivery(values, 0);
}

TEST_P(RemoteOperation, TakesAStatusAloneOnlyWhereThatIsAReply)
{
    for (const int status : {0, 3, -3}) {
        if (hasShortForm || shape == "i") {
            expectDelivery({xml::i4(status)}, status);
        } else {
            EXPECT_EQ(callWith(replyArray({xml::i4(status)})), presets);
            EXPECT_EQ(raised, operation.throwsWithoutText());
            EXPECT_EQ(client.getFault(), raised ? 0 : -502);
        }
    }
}

TEST_P(RemoteOperation, ReportsAWrongReplyOrRaisesForWantOfAText)
{
    for (const WrongReply& wrong : wrongReplies()) {
        SCOPED_TRACE(wrong.value);
        EXPECT_EQ(callWith(reply(wrong.value)), outputsAfter(wrong.answer));
        EXPECT_EQ(raised, wrong.raises);
        std::vector<LogLine> rest = notes(operation, wrong.answer);
        if (!wrong.raises)
            rest.insert(rest.end(), {faultLine(message), place()});
        expectFailure(wrong.raises ? 0 : wrong.code, replied(message, rest));
        EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
        EXPECT_EQ(released, wrong.raises && operation.kept == Kept::whenThrowing ? 0 : 1);
    }
}

TEST_P(RemoteOperation, WorksAfterEachWrongReply)
{
    for (const WrongReply& wrong : wrongReplies()) {
        SCOPED_TRACE(wrong.value);
        callWith(reply(wrong.value));
        expectWorkingClient();
    }
}

TEST_P(RemoteOperation, ReportsATransportFaultAndTouchesNoOutput)
{
    for (const auto& [step, code] : transportFaults()) {
        SCOPED_TRACE(step.bytes);
        EXPECT_EQ(callWith(step), presets);
        expectFailure(code, {debug(message), armed(ampleTimeout), faultLine(message), place()});
    }
}

TEST_P(RemoteOperation, LogsTheTextAndTheCodeOfAFaultResponse)
{
    callWith(replyFault(-77, "agotado"));
    const std::string text = client.environment().fault_string;
    EXPECT_TRUE(text.ends_with("agotado"));
    EXPECT_EQ(log.lines().at(2),
              error("ERROR en XML-RPC: mensaje : " + message + ", error : " + text + " (0xffffffb3)\n"));
}

TEST_P(RemoteOperation, WritesItsNumbersWithoutTheGroupingOfTheGlobalLocale)
{
    struct Grouped : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale(), new Grouped));
    callWith(replyArray(operation.sampleReply(0)));
    std::locale::global(before);
    EXPECT_EQ(log.lines().at(0), debug(message));
}

TEST_P(RemoteOperation, FailsAtAClosedPort)
{
    const ClosedPort closed;
    nelka::XmlrpcClient stranger("127.0.0.1", closed.port(), "eth1", "app", "1.0");
    ASSERT_EQ(stranger.init(), 0);
    log.clear();
    Variables variables;
    operation.call(stranger, variables, ampleTimeout);
    EXPECT_EQ(stranger.getFault(), -504);
    EXPECT_EQ(operation.read(variables), presets);
    EXPECT_EQ(log.linesWithoutNumbers(),
              (std::vector<LogLine>{debug(message), armed(ampleTimeout), faultLine(stranger, message), place()}));
}

TEST_P(RemoteOperation, LeavesTheTimerArmedAfterATransportFault)
{
    for (const auto& [step, code] : transportFaults()) {
        SCOPED_TRACE(step.bytes);
        callWith(step);
        EXPECT_GT(timerLeft(), std::chrono::seconds(0));
        client.set_timer(0);
    }
}

TEST_P(RemoteOperation, WorksAfterEachTransportFault)
{
    for (const auto& [step, code] : transportFaults()) {
        SCOPED_TRACE(step.bytes);
        callWith(step);
        expectWorkingClient();
    }
}

TEST_P(RemoteOperation, OfASilentSlaveTimesOutAndTouchesNoOutput)
{
    EXPECT_EQ(callWith(silence(), 100), presets);
    expectFailure(-505, {debug(operation.message(100)),
                         armed(100),
                         {LOG_NOTICE, "SIGALRM signal received. interrupt 0"},
                         timeoutLine(operation.message(100))});
}

TEST_P(RemoteOperation, WorksAfterATimeout)
{
    callWith(silence(), 100);
    expectWorkingClient();
}

TEST_P(RemoteOperation, ArmsTheTimerWithTheLow16BitsOfItsTimeout)
{
    const std::vector<std::pair<int, int>> cases{{1500, 1500}, {65535, 65535}, {65536, 0}, {70000, 4464}, {-1, 65535}};
    for (const auto& [timeout, milliseconds] : cases) {
        SCOPED_TRACE(timeout);
        callWith(replyFault(42, "agotado"), timeout);
        const std::chrono::microseconds left = timerLeft();
        EXPECT_EQ(log.lines().at(1), armed(milliseconds));
        EXPECT_LE(left, std::chrono::milliseconds(milliseconds));
        EXPECT_EQ(left > left.zero(), milliseconds > 0);
    }
}

TEST_P(RemoteOperation, OfAClientThatIsNotReadyFailsAndSendsNothing)
{
    client.cleanup();
    EXPECT_EQ(callWith(replyArray(operation.sampleReply(0))), presets);
    expectFailure(-500, {debug(message),
                         error("ERROR en XML-RPC: mensaje : " + message + ", error : client not ready (0xfffffe0c)\n"),
                         place()});
    EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
    EXPECT_TRUE(slave.requests().empty());
}

/// The operations of a family that ask the slave.
inline auto family(const std::string& name)
{
    std::vector<Operation> members = operationsOnTheWire();
    std::erase_if(members, [&](const Operation& operation) { return operation.family != name; });
    return ::testing::ValuesIn(members);
}

inline std::string operationName(const ::testing::TestParamInfo<Operation>& info)
{
    return info.param.name;
}

} // namespace support
