// The scripted slave, on which the other tests rely, seen through a bare socket.
#include <chrono>
#include <cstddef>
#include <string>

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/checked.h"
#include "support/scriptedslave.h"
#include "support/stopwatch.h"

using namespace support;
using namespace std::chrono_literals;

namespace {

class Connection {
public:
    explicit Connection(const ScriptedSlave& slave) : descriptor(checked(connectedTo(slave.port()), "connect")) {}
    ~Connection() { close(descriptor); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void say(const std::string& bytes) const
    {
        ASSERT_EQ(send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }

    /// What arrives next, "end" if the connection ends and "reset" if it is reset.
    std::string hear() const
    {
        char buffer[4096];
        if (!isReadable(10s))
            return "nothing";
        const ssize_t got = recv(descriptor, buffer, sizeof buffer, 0);
        if (got <= 0)
            return got == 0 ? "end" : "reset";
        return {buffer, static_cast<std::size_t>(got)};
    }

    bool isSilent() const { return !isReadable(100ms); }

private:
    bool isReadable(std::chrono::milliseconds patience) const
    {
        pollfd readable{descriptor, POLLIN, 0};
        return poll(&readable, 1, static_cast<int>(patience.count())) > 0;
    }

    int descriptor;
};

const std::string request = "POST /RPC2 HTTP/1.1\r\nContent-Length: 4\r\n\r\nbody";

class ScriptedSlaveTest : public ::testing::Test {
protected:
    ScriptedSlave slave;

    std::string answerTo(const Step& step)
    {
        slave.play({step});
        const Connection connection(slave);
        connection.say(request);
        return connection.hear();
    }
};

TEST_F(ScriptedSlaveTest, TakesStepsInTurnAndRepeatsLast)
{
    slave.play({ok("one"), ok("two")});
    const Connection connection(slave);
    for (const char* body : {"one", "two", "two"}) {
        connection.say(request);
        EXPECT_EQ(connection.hear(), ok(body).bytes);
    }
}

TEST_F(ScriptedSlaveTest, RecordsRequestsAsTheyCame)
{
    answerTo(ok("one"));
    EXPECT_EQ(slave.requests(), std::vector<std::string>{request});
    EXPECT_EQ(slave.bodies(), std::vector<std::string>{"body"});
}

TEST_F(ScriptedSlaveTest, RecordsOnlyCompleteRequests)
{
    slave.play({ok("one")});
    const Connection connection(slave);
    connection.say(request.substr(0, request.size() - 1));
    EXPECT_TRUE(connection.isSilent());
    EXPECT_TRUE(slave.requests().empty());
    connection.say(request.substr(request.size() - 1));
    EXPECT_EQ(connection.hear(), ok("one").bytes);
    EXPECT_EQ(slave.requests().size(), 1U);
}

TEST_F(ScriptedSlaveTest, PlayKeepsConnectionsAndForgetsRequests)
{
    slave.play({ok("one")});
    const Connection connection(slave);
    connection.say(request);
    connection.hear();
    slave.play({ok("two")});
    EXPECT_TRUE(slave.requests().empty());
    connection.say(request);
    EXPECT_EQ(connection.hear(), ok("two").bytes);
    EXPECT_EQ(slave.connections(), 1U);
}

TEST_F(ScriptedSlaveTest, SilenceReadsAndSendsNothing)
{
    slave.play({silence()});
    const Connection connection(slave);
    connection.say(request);
    slave.awaitRequests(1);
    EXPECT_TRUE(connection.isSilent());
}

TEST_F(ScriptedSlaveTest, DeafReadsNothing)
{
    slave.play({deaf()});
    const Connection connection(slave);
    connection.say(request);
    EXPECT_TRUE(connection.isSilent());
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(ScriptedSlaveTest, HoldReadsNoFurtherRequest)
{
    Step step = ok("one");
    step.then = Step::Then::hold;
    slave.play({step});
    const Connection connection(slave);
    connection.say(request);
    EXPECT_EQ(connection.hear(), step.bytes);
    connection.say(request);
    EXPECT_TRUE(connection.isSilent());
    EXPECT_EQ(slave.requests().size(), 1U);
}

TEST_F(ScriptedSlaveTest, ResetsConnection)
{
    EXPECT_EQ(answerTo(resetAfterRequest()), "reset");
}

TEST_F(ScriptedSlaveTest, ClosesConnectionAfterReply)
{
    slave.play({thenClose(ok("one"))});
    const Connection connection(slave);
    connection.say(request);
    EXPECT_EQ(connection.hear(), ok("one").bytes);
    EXPECT_EQ(connection.hear(), "end");
}

TEST_F(ScriptedSlaveTest, DropsConnections)
{
    slave.play({ok("one")});
    const Connection connection(slave);
    connection.say(request);
    connection.hear();
    slave.dropConnections();
    EXPECT_EQ(connection.hear(), "end");
}

TEST_F(ScriptedSlaveTest, DelaysFirstByte)
{
    const Stopwatch watch;
    EXPECT_EQ(answerTo(delayed(ok("one"), 50ms)), ok("one").bytes);
    EXPECT_GE(watch.elapsed(), 50ms);
}

TEST_F(ScriptedSlaveTest, DripsPieces)
{
    slave.play({dripped(ok("one"), 10, 20ms)});
    const Connection connection(slave);
    connection.say(request);
    const Stopwatch watch;
    std::string heard;
    while (heard.size() < ok("one").bytes.size())
        heard += connection.hear();
    EXPECT_EQ(heard, ok("one").bytes);
    EXPECT_GE(watch.elapsed(), 20ms * ((heard.size() - 1) / 10 - 1));
}

TEST_F(ScriptedSlaveTest, CutsReply)
{
    EXPECT_EQ(answerTo(cutAt(ok("one"), 10, Step::Then::close)), ok("one").bytes.substr(0, 10));
}

TEST_F(ScriptedSlaveTest, CountsConnections)
{
    answerTo(ok("one"));
    answerTo(ok("one"));
    EXPECT_EQ(slave.connections(), 2U);
}

} // namespace
