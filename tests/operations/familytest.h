// Tests for every operation that sends something, which each family runs over its operations:
//
//     INSTANTIATE_TEST_SUITE_P(Database, RemoteOperation, family("database"), ::testing::PrintToStringParamName());
//
// A family's file adds tests for the quirks of each operation.
#pragma once

#include <climits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "decoding.h"
#include "support/fixture.h"
#include "support/groupinglocale.h"
#include "support/operations.h"
#include "support/signals.h"
#include "support/xmlrpcspy.h"

namespace support {

using xml::requestBody;

/// A client with `dbName` assigned.
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

    /// The lines of a call with a reply: those of every call, then `rest`.
    static Lines replied(const std::string& message, const Lines& rest = {})
    {
        Lines lines{debug(message), armed(ampleTimeout), disarmed()};
        lines.insert(lines.end(), rest.begin(), rest.end());
        return lines;
    }

    /// Makes this array the slave's next reply, and clears the log.
    void answerWith(const std::vector<std::string>& values)
    {
        spy.releaseKeptResult();
        slave.play({replyArray(values)});
        log.clear();
    }
};

class RemoteOperation : public FamilyTest, public ::testing::WithParamInterface<Operation> {
protected:
    const Operation& operation = GetParam();
    const std::string message = operation.message(ampleTimeout);
    const std::vector<std::string> presets = operation.read({});

    bool raised = false; ///< whether the last call ended with std::logic_error
    int released = 0;    ///< how often its reply was released

    /// The outputs after a call that the slave answers with this step.
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

    void expectAnswer(const Reply& reply)
    {
        SCOPED_TRACE(reply.body());
        const Decoding expected = decodingOf(operation, reply);
        EXPECT_EQ(callWith(ok(reply.body())), expected.outputs);
        EXPECT_EQ(raised, expected.throws);
        Lines rest = expected.notes;
        if (expected.failed) {
            EXPECT_EQ(client.environment().fault_code, expected.fault);
            rest.insert(rest.end(), {faultLine(message), place()});
        }
        if (expected.refused)
            rest.insert(rest.end(), {refusedLine(message, expected.fault), place()});
        EXPECT_EQ(client.getFault(), expected.fault);
        EXPECT_EQ(log.linesWithoutNumbers(), replied(message, rest));
        EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
        const bool kept = (expected.refused && operation.kept == Kept::whenRefused)
                          || (expected.throws && operation.kept == Kept::whenThrowing);
        EXPECT_EQ(released, kept ? 0 : 1);
    }

    void expectFailure(int code, const Lines& lines)
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
        return {{resetAfterRequest(), -504},       {serverError(), -504},           {ok("agotado"), -503},
                {replyFault(-77, "agotado"), -77}, {replyFault(42, "agotado"), 42}, {replyFault(0, "agotado"), 0}};
    }

    std::vector<Reply> wrongReplies() const
    {
        std::vector<Reply> all = scalars();
        for (const std::vector<Reply>& more : {wrongTypes(operation), missingElements(operation)})
            all.insert(all.end(), more.begin(), more.end());
        for (const Element& element : anyElements())
            all.push_back({{element}});
        // Some accept a status alone.
        std::erase_if(all, [&](const Reply& reply) {
            const Decoding decoding = decodingOf(operation, reply);
            return !decoding.failed && !decoding.throws;
        });
        return all;
    }
};

TEST_P(RemoteOperation, SendsWhatOtherDecoderReads)
{
    callWith(replyArray(operation.sampleReply(0)));
    const std::vector<xml::Request> calls = slave.calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].method, operation.remote);
    EXPECT_EQ(calls[0].parameters, operation.parameters);
}

TEST_P(RemoteOperation, SendsTheseBytes)
{
    callWith(replyArray(operation.sampleReply(0)));
    std::vector<std::string> parameters;
    for (const std::string& parameter : operation.parameters) {
        const std::size_t blank = parameter.find(' ');
        const std::string type = parameter.substr(0, blank);
        std::string content = parameter.substr(blank + 1);
        if (type == "base64")
            content = "\r\n" + xml::encodeBase64(content) + "\r\n";
        parameters.push_back("<" + type + ">" + content + "</" + type + ">");
    }
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody(operation.remote, parameters)}));
}

TEST_P(RemoteOperation, DeliversReplyForEveryStatus)
{
    for (const int status : {0, 1, -1, INT_MAX, INT_MIN})
        expectAnswer(goodReply(operation, status));
}

TEST_P(RemoteOperation, IgnoresFurtherElements)
{
    Reply reply = goodReply(operation);
    reply.elements.insert(reply.elements.end(), {{'s', xml::text("x")}, {'i', xml::i4(5)}});
    expectAnswer(reply);
}

TEST_P(RemoteOperation, AcceptsStatusAloneOnlyAsShortReply)
{
    for (const int status : {0, 3, -3})
        expectAnswer({{{'i', xml::i4(status)}}, status});
}

TEST_P(RemoteOperation, ReportsWrongReplyOrThrows)
{
    for (const Reply& wrong : wrongReplies())
        expectAnswer(wrong);
}

TEST_P(RemoteOperation, WorksAfterWrongReplies)
{
    for (const Reply& wrong : wrongReplies()) {
        SCOPED_TRACE(wrong.body());
        callWith(ok(wrong.body()));
        expectWorkingClient();
    }
}

TEST_P(RemoteOperation, TransportFaultIsReportedAndLeavesOutputs)
{
    for (const auto& [step, code] : transportFaults()) {
        SCOPED_TRACE(step.bytes);
        EXPECT_EQ(callWith(step), presets);
        expectFailure(code, {debug(message), armed(ampleTimeout), faultLine(message), place()});
    }
}

TEST_P(RemoteOperation, LogsTextAndCodeOfFaultResponse)
{
    callWith(replyFault(-77, "agotado"));
    const std::string text = client.environment().fault_string;
    EXPECT_TRUE(text.ends_with("agotado"));
    EXPECT_EQ(log.lines().at(2),
              error("ERROR en XML-RPC: mensaje : " + message + ", error : " + text + " (0xffffffb3)\n"));
}

TEST_P(RemoteOperation, IgnoresGroupingOfGlobalLocale)
{
    const GroupingLocale grouping;
    callWith(replyArray(operation.sampleReply(0)));
    EXPECT_EQ(log.lines().at(0), debug(message));
}

TEST_P(RemoteOperation, TransportFaultLeavesTimerArmed)
{
    for (const auto& [step, code] : transportFaults()) {
        SCOPED_TRACE(step.bytes);
        callWith(step);
        EXPECT_GT(timerLeft(), std::chrono::seconds(0));
        client.set_timer(0);
    }
}

TEST_P(RemoteOperation, WorksAfterTransportFaults)
{
    for (const auto& [step, code] : transportFaults()) {
        SCOPED_TRACE(step.bytes);
        callWith(step);
        expectWorkingClient();
    }
}

TEST_P(RemoteOperation, WorksAfterTimeout)
{
    callWith(silence(), 100);
    expectWorkingClient();
}

TEST_P(RemoteOperation, ArmsTimerWithLow16BitsOfTimeout)
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

TEST_P(RemoteOperation, ClientThatIsNotReadySendsNothing)
{
    client.cleanup();
    EXPECT_EQ(callWith(replyArray(operation.sampleReply(0))), presets);
    expectFailure(-500, {debug(message), notReadyLine(message), place()});
    EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
    EXPECT_TRUE(slave.requests().empty());
}

/// The operations of a family that send something.
inline auto family(const std::string& name)
{
    std::vector<Operation> members = operationsOnTheWire();
    std::erase_if(members, [&](const Operation& operation) { return operation.family != name; });
    return ::testing::ValuesIn(members);
}

} // namespace support
