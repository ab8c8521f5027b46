// nelkactl --retry.
#include <csignal>
#include <string>

#include "nelkactl.h"
#include "support/stopwatch.h"

using namespace support;

namespace {

const Step answer = replyArray({xml::i4(0), xml::i4(42)});

TEST_F(Nelkactl, RetriesWithoutUsableAnswer)
{
    slave.play({resetAfterRequest(), silence(), replyFault(-77, "no"), answer});
    const Finished finished = type({"xmlrpc_changes", "--json", "-t", "1000", "--retry", "5", "--retry-delay", "0"});
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(essence(finished.out),
              R"({"operation":"xmlrpc_changes","ending":"done","fault":0,"tries":4,"changes":42})");
    EXPECT_EQ(slave.requests().size(), 4U);
}

TEST_F(Nelkactl, TriesOnceByDefault)
{
    slave.play({resetAfterRequest(), answer});
    EXPECT_EQ(type({"xmlrpc_changes"}).status, 3);
    EXPECT_EQ(slave.requests().size(), 1U);
}

TEST_F(Nelkactl, GivesUpAfterLastTry)
{
    slave.play({resetAfterRequest()});
    const Finished finished = type({"xmlrpc_changes", "--retry", "2", "--retry-delay", "0"});
    EXPECT_EQ(finished.status, 3) << finished;
    EXPECT_TRUE(finished.err.ends_with(", at the last of 3 tries\n")) << finished;
    EXPECT_EQ(slave.requests().size(), 3U);
}

TEST_F(Nelkactl, NeverRetriesRefusal)
{
    slave.play({replyArray({xml::i4(4), xml::i4(0)}), answer});
    EXPECT_EQ(type({"xmlrpc_changes", "--retry", "3"}).status, 1);
    EXPECT_EQ(slave.requests().size(), 1U);
}

TEST_F(Nelkactl, RetriesChangesOnlyWhenTold)
{
    for (const Words& words : {Words{"updateNTP"}, Words{"RdFicheroEsclavo", "x", "1", "--output", "{file}"},
                               Words{"execQuery", "q", "t"}}) {
        slave.play({resetAfterRequest()});
        const Words twice = words + Words{"--retry", "1", "--retry-delay", "0"};
        EXPECT_EQ(type(twice).status, 3);
        EXPECT_EQ(slave.requests().size(), 1U) << words.front();
        slave.play({resetAfterRequest()});
        EXPECT_EQ(type(twice + Words{"--retry-writes"}).status, 3);
        EXPECT_EQ(slave.requests().size(), 2U) << words.front();
        EXPECT_NE(type({words.front(), "--help"}).out.find("--retry-writes"), std::string::npos);
    }
    slave.play({resetAfterRequest()});
    type({"RdFicheroEsclavo", "x", "0", "--output", "{file}", "--retry", "1", "--retry-delay", "0"});
    EXPECT_EQ(slave.requests().size(), 2U) << "reading a file changes nothing";
}

TEST_F(Nelkactl, WaitsBeforeRetry)
{
    slave.play({resetAfterRequest(), answer});
    const Stopwatch watch;
    EXPECT_EQ(type({"xmlrpc_changes", "--retry", "1", "--retry-delay", "300"}).status, 0);
    EXPECT_GE(watch.elapsed(), std::chrono::milliseconds(300));
}

TEST_F(Nelkactl, RetrySendsSameBlock)
{
    slave.play({resetAfterRequest(), replyArray({xml::i4(0)})});
    const Finished finished =
        type({"wrFicheroTablasSI", "1", "2", "--input", "-", "--retry", "1", "--retry-delay", "0", "--retry-writes"},
             "bloque");
    EXPECT_EQ(finished.status, 0) << finished;
    ASSERT_EQ(slave.calls().size(), 2U);
    EXPECT_EQ(slave.calls()[1].parameters.back(), "base64 bloque");
}

TEST_F(Nelkactl, IsInterruptedBetweenTries)
{
    slave.play({resetAfterRequest()});
    Program program(command({"xmlrpc_changes", "--retry", "1", "--retry-delay", "60000", "-v"}), environment());
    slave.awaitRequests(1);
    while (!program.errorLine().ends_with("INICIO ALARMA 0")) {
    }
    program.signal(SIGINT);
    EXPECT_EQ(program.finish().status, -SIGINT);
    EXPECT_EQ(slave.requests().size(), 1U);
}

} // namespace
