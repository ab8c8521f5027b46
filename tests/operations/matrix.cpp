// Every operation that sends something against every fault of a slave: how the call ends, what it logs, which outputs
// it writes, whether it leaves the timer running, the flag raised or a descriptor open.
#include <csignal>
#include <cstdio>
#include <functional>
#include <stdexcept>

#include <unistd.h>

#include "decoding.h"
#include "support/blocks.h"
#include "support/descriptors.h"
#include "support/fixture.h"
#include "support/mutedoutput.h"
#include "support/operations.h"
#include "support/signals.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

constexpr int shortTimeout = 60;

// Faults -----------------------------------------------------------------------------------------------------------

enum class Ending { transport, timeout, interruption, reply };
enum class Target { slave, closedPort, blackHole };

struct Fault {
    std::string name;
    Ending ending;
    int code = 0; ///< of Ending::transport
    Step step{};
    Target target = Target::slave;
    /// Of Ending::reply: the replies to each operation, and how each is sent.
    std::function<std::vector<Reply>(const Operation&)> replies = {};
    std::function<Step(const std::string& body)> wrap = ok;
    bool dropsIdleConnection = false;
};

std::ostream& operator<<(std::ostream& out, const Fault& fault)
{
    return out << fault.name;
}

Fault transport(const std::string& name, int code, Step step)
{
    return {name, Ending::transport, code, std::move(step)};
}

Fault expiry(const std::string& name, Step step)
{
    return {name, Ending::timeout, 0, std::move(step)};
}

Fault replying(const std::string& name, std::function<std::vector<Reply>(const Operation&)> replies,
               std::function<Step(const std::string& body)> wrap = ok)
{
    Fault fault{name, Ending::reply};
    fault.replies = std::move(replies);
    fault.wrap = std::move(wrap);
    return fault;
}

std::vector<Reply> good(const Operation& operation)
{
    return {goodReply(operation)};
}

std::vector<Reply> with(const Operation& operation, std::vector<Element> extra)
{
    Reply reply = goodReply(operation);
    reply.elements.insert(reply.elements.end(), extra.begin(), extra.end());
    return {reply};
}

std::vector<Reply> ofSize(const Operation& operation, std::size_t bytes)
{
    const std::size_t bare = with(operation, {{'s', xml::text("")}})[0].body().size();
    return with(operation, {{'s', xml::text(std::string(bytes - bare, 'x'))}});
}

// A good reply followed by something that the parser rejects.
Step unparsable(const std::string& element)
{
    return reply(xml::array({xml::i4(0), "<value>" + element + "</value>"}));
}

Step chunked(const std::string& body)
{
    std::string chunks;
    for (std::size_t at = 0; at < body.size(); at += 50) {
        const std::string chunk = body.substr(at, 50);
        char size[16];
        std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
        chunks += size + chunk + "\r\n";
    }
    return http("HTTP/1.1 200 OK", "Content-Type: text/xml\r\nTransfer-Encoding: chunked\r\n", chunks + "0\r\n\r\n");
}

Step withoutLength(const std::string& body)
{
    return thenClose(http("HTTP/1.1 200 OK", "Content-Type: text/xml\r\n", body));
}

Step withLength(std::size_t length, const std::string& body)
{
    return http("HTTP/1.1 200 OK", "Content-Type: text/xml\r\nContent-Length: " + std::to_string(length) + "\r\n",
                body);
}

Step answering(const std::string& statusLine)
{
    return http(statusLine, "Content-Length: 0\r\n", "");
}

std::vector<Fault> faults()
{
    const std::string body = xml::response(xml::array({xml::i4(0)}));
    const Step status0 = ok(body);
    const std::size_t whole = status0.bytes.size();
    constexpr std::size_t limit = 1048576;

    Fault refused = transport("RefusedConnection", -504, {});
    refused.target = Target::closedPort;
    Fault untaken = expiry("ConnectionThatNobodyTakes", {});
    untaken.target = Target::blackHole;
    Fault closedWhileIdle = replying("ConnectionClosedWhileIdle", [](const Operation& operation) {
        return std::vector<Reply>(2, goodReply(operation));
    });
    closedWhileIdle.dropsIdleConnection = true;

    return {
        refused,
        untaken,
        expiry("Silence", silence()),
        expiry("AcceptedAndNeverRead", deaf()),
        transport("ResetBeforeTheStatusLine", -504, resetAfterRequest()),
        transport("CloseBeforeTheStatusLine", -504, thenClose(silence())),
        transport("ResetInTheBody", -504, cutAt(status0, whole - 40, Step::Then::reset)),
        transport("CloseInTheBody", -504, cutAt(status0, whole - 40, Step::Then::close)),
        transport("CloseInTheHeaders", -503, cutAt(status0, 20, Step::Then::close)),
        expiry("OneByteEvery50Milliseconds", dripped(status0, 1, 50ms)),
        expiry("StallInTheHeaders", cutAt(status0, 20, Step::Then::keep)),
        expiry("StallInTheBody", cutAt(status0, whole - 40, Step::Then::keep)),
        expiry("ReplyAfterTheDeadline", delayed(status0, 10s)),
        transport("LengthTooShort", -503, withLength(body.size() - 40, body)),
        transport("LengthTooLongThenClose", -504, thenClose(withLength(body.size() + 40, body))),
        expiry("LengthTooLongThenStall", withLength(body.size() + 40, body)),
        replying("NoLength", good, withoutLength),
        replying("ChunkedBody", good, chunked),
        transport("BadChunk", -504,
                  http("HTTP/1.1 200 OK", "Content-Type: text/xml\r\nTransfer-Encoding: chunked\r\n", "zz\r\n" + body)),
        transport("Status404", -504, answering("HTTP/1.1 404 Not Found")),
        transport("Status500", -504, serverError()),
        transport("Status302", -504, http("HTTP/1.1 302 Found", "Location: /x\r\nContent-Length: 0\r\n", "")),
        transport("Status204", -504, http("HTTP/1.1 204 No Content", "", "")),
        transport("NoHttp", -504, thenClose(http("SSH-2.0-x", "", ""))),
        transport("HtmlWithStatus200", -503, ok("<html><body>Bienvenido</body></html>")),
        transport("EmptyBody", -503, ok("")),
        transport("NoMethodResponse", -503, ok("<?xml version=\"1.0\"?><other/>")),
        transport("TooDeep", -503, reply(xml::nested(64))),
        transport("TruncatedXml", -503, ok(body.substr(0, body.size() - 40))),
        transport("FaultWithANegativeCode", -77, replyFault(-77, "no")),
        transport("FaultWithAPositiveCode", 77, replyFault(77, "no")),
        transport("FaultWithCode0", 0, replyFault(0, "no")),
        replying("ScalarForTheArray", [](const Operation&) { return scalars(); }),
        replying("EmptyArray", [](const Operation&) { return std::vector<Reply>{{}}; }),
        replying("TextForTheStatusAlone",
                 [](const Operation&) {
                     return std::vector<Reply>{{{{'s', xml::text("0")}}}};
                 }),
        replying("MissingElements", missingElements),
        replying("WrongTypeAtEachPlace", wrongTypes),
        replying("MoreElements", [](const Operation& operation) { return with(operation, anyElements()); }),
        replying("Refusals",
                 [](const Operation& operation) {
                     return std::vector<Reply>{goodReply(operation, 3), goodReply(operation, -3)};
                 }),
        transport("BadBase64", -503, unparsable("<base64>QQ</base64>")),
        transport("BadInteger", -503, unparsable("<i4>x</i4>")),
        transport("InvalidUtf8", -503, unparsable("<string>\xff\xfe</string>")),
        replying("JustUnder1MiB", [](const Operation& operation) { return ofSize(operation, limit - 1); }),
        replying("Exactly1MiB", [](const Operation& operation) { return ofSize(operation, limit); }),
        transport("JustOver1MiB", -509, ok(ofSize(operation("updateNTP"), limit + 1)[0].body())),
        closedWhileIdle,
        {"SigintDuringTheCall", Ending::interruption, 0, silence()},
    };
}

// Cells --------------------------------------------------------------------------------------------------------------

struct Outcome {
    Variables variables;
    bool thrown = false;
};

class Matrix : public ClientTest, public ::testing::WithParamInterface<Fault> {
protected:
    Outcome run(const Operation& operation, nelka::XmlrpcClient& target, int timeout)
    {
        Outcome outcome;
        const MutedOutput muted;
        log.clear();
        try {
            operation.call(target, outcome.variables, timeout);
        } catch (const std::logic_error&) {
            outcome.thrown = true;
        }
        return outcome;
    }

    // The lines from the debug line on; `rest` follows the line of the armed timer.
    void expectLines(const Operation& operation, int timeout, Lines rest) const
    {
        Lines lines;
        if (operation.logsDebugLine())
            lines.push_back(debug(operation.message(timeout)));
        lines.push_back(armed(timeout));
        lines.insert(lines.end(), rest.begin(), rest.end());
        EXPECT_EQ(log.linesWithoutNumbers(), lines);
    }

    void expectLoweredFlag()
    {
        log.clear();
        raise(SIGALRM);
        EXPECT_EQ(log.lines(), (Lines{signalLine("SIGALRM")}));
    }

    void expectReply(const Operation& operation, nelka::XmlrpcClient& target, const Reply& reply)
    {
        SCOPED_TRACE(reply.body().substr(0, 2000));
        const Decoding expected = decodingOf(operation, reply);
        slave.play({GetParam().wrap(reply.body())});
        const Outcome outcome = run(operation, target, ampleTimeout);

        const std::string message = operation.message(ampleTimeout);
        Lines rest{disarmed()};
        rest.insert(rest.end(), expected.notes.begin(), expected.notes.end());
        if (expected.failed)
            rest.insert(rest.end(), {faultLine(target, message), place()});
        if (expected.refused)
            rest.insert(rest.end(), {refusedLine(message, expected.fault), place()});

        EXPECT_EQ(outcome.thrown, expected.throws);
        EXPECT_EQ(target.getFault(), expected.fault);
        EXPECT_EQ(operation.read(outcome.variables), expected.outputs);
        expectLines(operation, ampleTimeout, rest);
        EXPECT_EQ(timerLeft(), 0s);
    }

    void expectFailure(const Operation& operation, nelka::XmlrpcClient& target, int timeout, int fault,
                       const Lines& rest, const Outcome& outcome)
    {
        EXPECT_FALSE(outcome.thrown);
        EXPECT_EQ(target.getFault(), fault);
        EXPECT_EQ(operation.read(outcome.variables), operation.read(Variables()));
        expectLines(operation, timeout, rest);
    }

    void cell(const Operation& operation, nelka::XmlrpcClient& target)
    {
        const Fault& fault = GetParam();
        switch (fault.ending) {
        case Ending::transport: {
            slave.play({fault.step});
            const Outcome outcome = run(operation, target, ampleTimeout);
            expectFailure(operation, target, ampleTimeout, fault.code,
                          {faultLine(target, operation.message(ampleTimeout)), place()}, outcome);
            EXPECT_GT(timerLeft(), 0s);
            break;
        }
        case Ending::timeout: {
            slave.play({fault.step});
            const Outcome outcome = run(operation, target, shortTimeout);
            expectFailure(operation, target, shortTimeout, -505,
                          {signalLine("SIGALRM"), timeoutLine(operation.message(shortTimeout))}, outcome);
            EXPECT_EQ(timerLeft(), 0s);
            break;
        }
        case Ending::interruption: {
            slave.play({fault.step});
            std::future<void> user = onceAsked(slave, [] { kill(getpid(), SIGINT); });
            const Outcome outcome = run(operation, target, ampleTimeout);
            user.get();
            expectFailure(operation, target, ampleTimeout, -505,
                          {signalLine("SIGINT"), timeoutLine(operation.message(ampleTimeout))}, outcome);
            EXPECT_GT(timerLeft(), 0s);
            break;
        }
        case Ending::reply: {
            const std::size_t before = slave.connections();
            const std::vector<Reply> replies = fault.replies(operation);
            for (const Reply& reply : replies) {
                expectReply(operation, target, reply);
                if (fault.dropsIdleConnection)
                    slave.dropConnections();
            }
            if (fault.dropsIdleConnection) {
                EXPECT_EQ(slave.connections(), before + replies.size());
            }
            break;
        }
        }
    }
};

TEST_P(Matrix, EndsAsExpected)
{
    const ClosedPort closed;
    const BlackHole blackHole;
    const Fault& fault = GetParam();
    const unsigned short port = fault.target == Target::slave        ? slave.port()
                                : fault.target == Target::closedPort ? closed.port()
                                                                     : blackHole.port();
    std::size_t descriptors = 0;
    for (const Operation& operation : operationsOnTheWire()) {
        SCOPED_TRACE(operation.name);
        // A separate client for each, so that a connection left open shows as a descriptor.
        {
            nelka::XmlrpcClient target("127.0.0.1", port, "eth1", "app", "1.0");
            ASSERT_EQ(target.init(), 0);
            cell(operation, target);
            target.set_timer(0);
            expectLoweredFlag();
        }
        if (descriptors == 0)
            descriptors = openDescriptors();
        EXPECT_EQ(openDescriptors(), descriptors);
    }
}

INSTANTIATE_TEST_SUITE_P(Fault, Matrix, ::testing::ValuesIn(faults()), ::testing::PrintToStringParamName());

// Expiry while sending, for operations that send blocks --------------------------------------------------------------

struct Sender {
    std::string name;
    void (*call)(nelka::XmlrpcClient&, const std::string& text, Variables&);
};

std::ostream& operator<<(std::ostream& out, const Sender& sender)
{
    return out << sender.name;
}

class Sending : public ::testing::TestWithParam<Sender> {};

TEST_P(Sending, IsCutByDeadline)
{
    const ScriptedSlave slave({deaf()}, 4096);
    LogRecorder log;
    nelka::XmlrpcClient client("127.0.0.1", slave.port(), "eth1", "app", "1.0");
    ASSERT_EQ(client.init(), 0);
    Variables variables;
    const Stopwatch watch;
    GetParam().call(client, std::string(2'000'000, 'x'), variables);
    EXPECT_LT(watch.elapsed(), std::chrono::milliseconds(shortTimeout) + lateness());
    EXPECT_EQ(client.getFault(), -505);
    const Operation& sent = operation(GetParam().name);
    EXPECT_EQ(sent.read(variables), sent.read(Variables()));
    const Lines lines = log.lines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], signalLine("SIGALRM"));
    EXPECT_TRUE(slave.requests().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Operation, Sending,
    ::testing::ValuesIn(std::vector<Sender>{
        {"getTable", [](nelka::XmlrpcClient& client, const std::string& text,
                        Variables& to) { client.getTable(text, to.table, shortTimeout); }},
        {"execQuery", [](nelka::XmlrpcClient& client, const std::string& text,
                         Variables& to) { client.execQuery(text, to.integer, "t", shortTimeout); }},
        {"xmlrpc_changes",
         [](nelka::XmlrpcClient& client, const std::string& text, Variables& to) {
             client.dbName = text;
             client.xmlrpc_changes(to.integer, shortTimeout);
         }},
        {"ejecutar_script", [](nelka::XmlrpcClient& client, const std::string& text,
                               Variables&) { client.ejecutar_script(text, shortTimeout); }},
        {"RdFicheroEsclavo", [](nelka::XmlrpcClient& client, const std::string& text,
                                Variables& to) { client.RdFicheroEsclavo(text, 0, to.block, shortTimeout); }},
        {"wrFicheroTablasSI", [](nelka::XmlrpcClient& client, const std::string& text,
                                 Variables&) { client.wrFicheroTablasSI(1, 2, block(text), shortTimeout); }},
        {"configureSAPServer", [](nelka::XmlrpcClient& client, const std::string& text,
                                  Variables&) { client.configureSAPServer(1, 2, block(text), shortTimeout); }}}),
    ::testing::PrintToStringParamName());

} // namespace
