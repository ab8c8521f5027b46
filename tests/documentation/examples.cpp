// The examples, run against the simulated slave.
#include <csignal>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>

#include "examplerun.h"
#include "support/scriptedslave.h"

using namespace support;

namespace {

constexpr int ampleTimeout = 10000;

using Words = std::vector<std::string>;

Words on(unsigned short port, const Words& more)
{
    Words words{"127.0.0.1", std::to_string(port)};
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

// An example that calls a misbehaving slave.
class Example : public ::testing::Test {
protected:
    Finished runAgainst(const std::string& behaviour, const char* program, const Words& more)
    {
        const SimulatedSlave slave({"--state", state(), "--behave", fileWith(folder.path / "behave.json", behaviour)});
        return run(builtCommand(program, on(slave.port(), more)));
    }

    std::string state() const { return folder.path / "state"; }

    TemporaryFolder folder;
};

// tune ---------------------------------------------------------------------------------------------------------

using Tune = Example;

TEST_F(Tune, TunesSlaveToFrequency)
{
    const Finished tuned = runAgainst("{}", TUNE, {"626000000"});
    EXPECT_EQ(tuned.out, "tuned to 626000000\n") << tuned;
    EXPECT_EQ(tuned.status, 0);
    EXPECT_EQ(tuned.err, "");

    const std::string kept = contents(state() + "/state.json");
    EXPECT_NE(kept.find("626000000"), std::string::npos) << kept;
}

TEST_F(Tune, ReportsRefusal)
{
    const Finished refused = runAgainst(R"({"SintonizarCanalTerr": {"status": 3}})", TUNE, {"626000000"});
    EXPECT_EQ(refused.err, "not tuned: the slave refused with 3\n");
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.status, 1);
}

TEST_F(Tune, ReportsWhyNoAnswerCame)
{
    const Finished failed = runAgainst(R"({"SintonizarCanalTerr": {"fault": [-77, "no tuner"]}})", TUNE, {"626000000"});
    EXPECT_NE(failed.err.find("no tuner"), std::string::npos) << failed;
    EXPECT_EQ(failed.status, 1);
}

// mirror -------------------------------------------------------------------------------------------------------

const std::string query = "SELECT id, nombre FROM canales WHERE id < 3 ORDER BY id";
const Words tableAtFirst{"id\tnombre", "1\tTVN Uno", "2\tTVN Dos", ""};

Words nextTable(Program& mirror)
{
    Words lines;
    do
        lines.push_back(mirror.line());
    while (!lines.back().empty());
    return lines;
}

TEST(Mirror, PrintsTableAgainWhenItHasChanged)
{
    const SimulatedSlave slave;
    Program mirror(builtCommand(MIRROR, on(slave.port(), {"modulo", query, "1000"})));
    EXPECT_EQ(nextTable(mirror), tableAtFirst);

    nelka::XmlrpcClient editor("127.0.0.1", slave.port(), "eth0", "editor", "1.0");
    ASSERT_EQ(editor.init(), 0);
    editor.dbName = "modulo";
    int rows = 0;
    editor.execQuery("UPDATE canales SET nombre = 'TVN Tres' WHERE id = 2", rows, "canales", ampleTimeout);
    ASSERT_EQ(editor.getFault(), 0);

    EXPECT_EQ(nextTable(mirror), (Words{"id\tnombre", "1\tTVN Uno", "2\tTVN Tres", ""}));
    mirror.signal(SIGTERM);
    EXPECT_EQ(mirror.finish().out, "");
}

TEST(Mirror, PrintsUnchangedTableOnce)
{
    const SimulatedSlave slave;
    const Finished mirrored = run(builtCommand(MIRROR, on(slave.port(), {"modulo", query, "3"})));
    EXPECT_EQ(mirrored.out, "id\tnombre\n1\tTVN Uno\n2\tTVN Dos\n\n");
    EXPECT_EQ(mirrored.status, 0);
}

TEST(Interruption, EndsMirror)
{
    const SimulatedSlave slave;
    Program mirror(builtCommand(MIRROR, on(slave.port(), {"modulo", query, "1000000"})));
    EXPECT_EQ(nextTable(mirror), tableAtFirst);
    mirror.signal(SIGINT);
    const Finished ended = mirror.finish();
    EXPECT_EQ(ended.status, 0) << ended;
    EXPECT_EQ(ended.err, "");
}

TEST(Mirror, KeepsCallingMissingSlave)
{
    const Finished alone = run(builtCommand(MIRROR, on(ClosedPort().port(), {"modulo", query, "2"})));
    EXPECT_EQ(alone.err, "not mirrored this time: fault -504\nnot mirrored this time: fault -504\n");
    EXPECT_EQ(alone.status, 1);
}

// control ------------------------------------------------------------------------------------------------------

using Control = Example;

TEST_F(Control, EndsWithHealthySlave)
{
    const Finished rounds = runAgainst("{}", CONTROL, {"2"});
    EXPECT_EQ(rounds.out, "round 1: done\nround 2: done\n");
    EXPECT_EQ(rounds.status, 0);
}

TEST_F(Control, TakesRefusalForAnswer)
{
    const Finished rounds = runAgainst(R"({"GetAlarmasEstadoControlador": {"status": 3}})", CONTROL, {"2"});
    EXPECT_EQ(rounds.out, "round 1: refused with 3\nround 2: refused with 3\n");
    EXPECT_EQ(rounds.status, 0);
}

TEST_F(Control, TellsNegativeRefusalFromBrokenConnection)
{
    const Finished rounds = runAgainst(R"({"GetAlarmasEstadoControlador": {"status": -504}})", CONTROL, {"1"});
    EXPECT_EQ(rounds.out, "round 1: refused with -504\n");
}

TEST_F(Control, DetectsLateSlave)
{
    const Finished rounds = runAgainst(R"({"GetAlarmasEstadoControlador": {"delay_ms": 5000}})", CONTROL, {"1"});
    EXPECT_EQ(rounds.out, "round 1: no answer in time\n");
    EXPECT_EQ(rounds.status, 0);
}

TEST_F(Control, RenewsBrokenConnection)
{
    const Finished rounds =
        runAgainst(R"({"GetAlarmasEstadoControlador": {"fault": [-77, "no alarms"]}})", CONTROL, {"2"});
    const std::string reason = "RPC failed at server.  no alarms"; // xmlrpc-c adds the prefix
    EXPECT_EQ(rounds.out, "round 1: broken: " + reason + "\nround 2: broken: " + reason + "\n");
    EXPECT_EQ(rounds.status, 0);
}

TEST_F(Control, GoesOnAfterReplyWithoutText)
{
    const Finished rounds = runAgainst(R"({"GetAlarmasEstadoControlador": {"reply": [0, 1]}})", CONTROL, {"2"});
    EXPECT_EQ(rounds.out, "round 1: broken: the reply lacks a text\nround 2: broken: the reply lacks a text\n");
    EXPECT_EQ(rounds.status, 0);
}

TEST(Interruption, EndsControlLoopDuringCall)
{
    ScriptedSlave slave;
    slave.play({silence()});
    Program rounds(builtCommand(CONTROL, on(slave.port(), {"1000000"})));
    slave.awaitRequests(1);
    rounds.signal(SIGINT);
    const Finished ended = rounds.finish();
    EXPECT_EQ(ended.out, "round 1: interrupted\n") << ended;
    EXPECT_EQ(ended.status, 0);
}

// replay-test ---------------------------------------------------------------------------------------------------

Finished replayTest(const std::string& recording)
{
    const auto words = [](const char* program) {
        std::string text;
        for (const std::string& word : builtCommand(program, {}))
            text += (text.empty() ? "" : " ") + word;
        return text;
    };
    return run({"/bin/bash", EXAMPLES "/replay-test", words(NELKASLAVE), words(CONTROL), recording});
}

TEST(ReplayTest, PassesMasterThatBehavesAsRecorded)
{
    const Finished tested = replayTest(EXAMPLES "/afternoon.jsonl");
    EXPECT_EQ(tested.status, 0) << tested;
    EXPECT_EQ(tested.out, "");
}

TEST(ReplayTest, FailsMasterThatBehavesDifferently)
{
    const TemporaryFolder folder;
    std::string recording = contents(EXAMPLES "/afternoon.jsonl");
    recording.replace(recording.find("sin controlador"), 3, "con");
    const Finished tested = replayTest(fileWith(folder.path / "other.jsonl", recording));
    EXPECT_EQ(tested.status, 1) << tested;
    EXPECT_NE(tested.out.find("> round 3: broken: RPC failed at server.  con controlador"), std::string::npos)
        << tested;
}

// slave and probe ----------------------------------------------------------------------------------------------

class Slave : public ::testing::Test {
protected:
    // A signal that lands just before the slave waits is noticed only after the next connection, so this makes one.
    Finished end(int signal = SIGTERM)
    {
        slave->signal(signal);
        read();
        return slave->finish();
    }

    void read() { master().getHoraModulo(0, hora, status, ampleTimeout); }

    nelka::XmlrpcClient& master()
    {
        if (!client) {
            client = std::make_unique<nelka::XmlrpcClient>("127.0.0.1", port, "eth0", "master", "1.0");
            EXPECT_EQ(client->init(), 0);
        }
        return *client;
    }

    unsigned short port = 0;
    std::unique_ptr<Program> slave = listening(SLAVE, port);
    std::unique_ptr<nelka::XmlrpcClient> client;
    unsigned long long hora = 0;
    int status = -1;
};

TEST_F(Slave, KnowsOnlyTime)
{
    const auto before = static_cast<unsigned long long>(std::time(nullptr));
    read();
    EXPECT_EQ(master().getFault(), 0);
    EXPECT_EQ(status, 0);
    EXPECT_GE(hora, before);
    EXPECT_LE(hora, static_cast<unsigned long long>(std::time(nullptr)));

    master().updateNTP(ampleTimeout);
    EXPECT_EQ(master().getFault(), -506);
    EXPECT_EQ(end().status, 0);
}

TEST_F(Slave, EndsOnCtrlC)
{
    EXPECT_EQ(end(SIGINT).status, 0);
}

TEST_F(Slave, ReportsPortInUse)
{
    const Finished second = run(builtCommand(SLAVE, {std::to_string(port)}));
    EXPECT_NE(second.err.find("cannot listen on port " + std::to_string(port)), std::string::npos) << second;
    EXPECT_EQ(second.status, 1);
    end();
}

TEST(ProbeExample, ShowsOutcomeAndLog)
{
    const SimulatedSlave slave;
    const Finished probed = run(builtCommand(PROBE, on(slave.port(), {std::to_string(ampleTimeout)})));
    EXPECT_EQ(probed.out, "RESULTADO 15\nfault state 0\n");
    EXPECT_NE(probed.err.find("INICIO ALARMA 10000"), std::string::npos) << probed;
    EXPECT_EQ(probed.status, 0);
}

} // namespace
