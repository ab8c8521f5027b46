// The simulated slave as a process: its options, its end, its state, its misbehaviour.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <ostream>
#include <random>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nelkanet/version.h>
#include <nelkanet/xmlrpclient.h>
#include <sys/resource.h>
#include <unistd.h>

#include "support/ports.h"
#include "support/simulatedslave.h"
#include "support/stopwatch.h"

using namespace support;
namespace fs = std::filesystem;

namespace {

constexpr int ampleTimeout = 10000;
constexpr int storageError = 4;

using Words = std::vector<std::string>;

Finished slaveWith(const Words& options)
{
    return run(slaveCommand(options));
}

// A client ready to call the sample database.
std::unique_ptr<nelka::XmlrpcClient> clientOf(const SimulatedSlave& slave)
{
    auto client = std::make_unique<nelka::XmlrpcClient>("127.0.0.1", slave.port(), "eth1", "test", "1.0");
    EXPECT_EQ(client->init(), 0);
    client->dbName = "modulo";
    return client;
}

int changes(nelka::XmlrpcClient& client)
{
    int count = -1;
    client.xmlrpc_changes(count, ampleTimeout);
    return count;
}

// The environment that preloads preload.cpp.
Words preloaded(Words environment)
{
    environment.push_back("LD_PRELOAD=" PRELOAD);
    environment.push_back("ASAN_OPTIONS=verify_asan_link_order=0"); // a sanitizer insists on being loaded first
    return environment;
}

// Options ------------------------------------------------------------------------------------------------------

const auto byName = [](const auto& instance) { return std::string(instance.param.name); };

struct Wrong {
    const char* name;
    Words options;
};

void PrintTo(const Wrong& wrong, std::ostream* out)
{
    for (const std::string& option : wrong.options)
        *out << option << ' ';
}

class NelkaslaveOptions : public ::testing::TestWithParam<Wrong> {};

TEST_P(NelkaslaveOptions, WrongOnesEndWithTwo)
{
    const Finished finished = slaveWith(GetParam().options);
    EXPECT_EQ(finished.status, 2) << finished;
    EXPECT_EQ(finished.out, "");
    EXPECT_NE(finished.err, "");
}

INSTANTIATE_TEST_SUITE_P(, NelkaslaveOptions,
                         ::testing::Values(Wrong{"APortTooLarge", {"--port", "65536"}},
                                           Wrong{"ANegativePort", {"--port", "-1"}},
                                           Wrong{"APortInWords", {"--port", "http"}},
                                           Wrong{"APortThatIsMissing", {"--port"}},
                                           Wrong{"AnUnknownOption", {"--nonsense"}}, Wrong{"AWord", {"word"}},
                                           Wrong{"NoBehaveFile", {"--behave", "/nowhere/behave.json"}}),
                         byName);

TEST(Nelkaslave, HelpFitsScreenAndNamesExitStatuses)
{
    const Finished finished = slaveWith({"--help"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_LE(std::count(finished.out.begin(), finished.out.end(), '\n'), 24);
    for (const char* part : {"--port", "--state", "--behave", "Exit status", "0 ended", "1 cannot", "2 usage"})
        EXPECT_NE(finished.out.find(part), std::string::npos) << part;
    std::istringstream lines(finished.out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80U) << line;
}

TEST(Nelkaslave, PrintsVersion)
{
    EXPECT_EQ(slaveWith({"--version"}).out, std::string("nelkaslave ") + NELKANET_VERSION + "\n");
}

TEST(Nelkaslave, ReportsWhyItCannotListen)
{
    const SimulatedSlave first;
    const std::string port = std::to_string(first.port());
    const Finished second = slaveWith({"--port", port});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err, "nelkaslave: cannot listen on port " + port + ": Address already in use\n");
}

TEST(Nelkaslave, NamesUnreadableFile)
{
    const Finished finished = slaveWith({"--behave", "/usr"});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.err, "nelkaslave: /usr: Is a directory\n");
}

TEST(Nelkaslave, ConnectionNeverReplacesClosedStandardStream)
{
    SimulatedSlave slave({}, {}, {"/bin/sh", "-c", "exec \"$@\" <&- 2>&-", "sh"});
    for (const char* stream : {"0", "2"})
        EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(slave.pid()) + "/fd/" + stream).filename(), "null");
    EXPECT_EQ(changes(*clientOf(slave)), 0);
    EXPECT_EQ(slave.end(SIGTERM), 0);
}

TEST(Nelkaslave, LogsOneLinePerCall)
{
    SimulatedSlave slave;
    const auto client = clientOf(slave);
    changes(*client);
    client->dbName = "nada";
    changes(*client);
    client->updateNTP(ampleTimeout);
    slave.signal(SIGTERM);
    const Finished finished = slave.finish();
    EXPECT_EQ(finished.out, "");
    const std::string time = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z )", duration = R"(, \d+\.\d ms\n)";
    const std::regex lines(time + R"(Changes\("modulo"\): status 0)" + duration + time
                           + R"(Changes\("nada"\): status 1, no database nada)" + duration + time
                           + R"(UpdateNTP\(\): status 0)" + duration);
    EXPECT_TRUE(std::regex_match(finished.err, lines)) << finished;
}

TEST(Nelkaslave, ShortensLogLines)
{
    SimulatedSlave slave;
    const auto client = clientOf(slave);
    client->wrFicheroTablasSI(1, -2, std::vector<char>(1000), ampleTimeout);
    client->ejecutar_script(std::string(1000, 'x'), ampleTimeout);
    slave.signal(SIGTERM);
    const Finished finished = slave.finish();
    EXPECT_NE(finished.err.find("wrFicheroTablasSI(1, -2, block of 1000 bytes): status 0, "), std::string::npos)
        << finished;
    EXPECT_NE(finished.err.find("EjecutarScript(\"" + std::string(60, 'x') + "\"... (1000 bytes)): status 1, "),
              std::string::npos)
        << finished;
}

TEST(Nelkaslave, AnswersIfNobodyReadsLog)
{
    const SimulatedSlave slave;
    const auto client = clientOf(slave);
    for (int calls = 0; calls < 5000; ++calls)
        ASSERT_EQ(changes(*client), 0) << calls;
}

// xmlrpc-c prints there, and a pipe that nobody reads would fill up.
TEST(Nelkaslave, WritesNothingElseToStandardOutput)
{
    const SimulatedSlave slave;
    EXPECT_EQ(changes(*clientOf(slave)), 0);
    EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(slave.pid()) + "/fd/1"), "/dev/null");
}

TEST(Nelkaslave, GivenPortNeedsNoProc)
{
    unsigned short port = freePort();
    std::string first;
    for (int tries = 0; tries < 5 && first.empty(); ++tries, port = freePort())
        first = Program(slaveCommand({"--port", std::to_string(port)}), preloaded({"NO_PROC=1"})).line();
    EXPECT_TRUE(first.starts_with("listening on ")) << first;
}

TEST(Nelkaslave, PortHasShortOption)
{
    EXPECT_TRUE(Program(slaveCommand({"-p", "0"})).line().starts_with("listening on "));
}

TEST(Nelkaslave, ReportsUnwritableHelp)
{
    Words command = slaveCommand({"--help"});
    command.insert(command.begin(), {"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh"});
    const Finished finished = run(command);
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.err, "nelkaslave: standard output cannot be written\n");
}

// State --------------------------------------------------------------------------------------------------------

TEST(NelkaslaveState, TemporaryFolderIsDeletedAtEnd)
{
    const TemporaryFolder folder;
    SimulatedSlave slave({}, {"TMPDIR=" + folder.path.string()});
    EXPECT_FALSE(fs::is_empty(folder.path));
    EXPECT_EQ(slave.end(SIGTERM), 0);
    EXPECT_TRUE(fs::is_empty(folder.path));
}

TEST(NelkaslaveState, FolderWithOtherContentIsRefused)
{
    for (const char* name : {"diario", "unfinished", "state.json"}) {
        const TemporaryFolder folder;
        fs::create_directory(folder.path / "files");
        fileWith(folder.path / name, "{}");
        const Finished finished = slaveWith({"--port", "0", "--state", folder.path});
        EXPECT_EQ(finished.status, 1) << finished;
        EXPECT_EQ(finished.lastWords(),
                  "nelkaslave: " + folder.path.string() + " holds something other than a slave's state");
        EXPECT_TRUE(fs::exists(folder.path / name));
    }
}

TEST(NelkaslaveState, FolderInUseIsRefused)
{
    const TemporaryFolder folder;
    const SimulatedSlave first({"--state", folder.path});
    const Finished second = slaveWith({"--port", "0", "--state", folder.path});
    EXPECT_EQ(second.status, 1);
    EXPECT_NE(second.err.find("another slave"), std::string::npos) << second;
}

struct WrongState {
    const char* name;
    std::string content;
    std::string complaint;
};

void PrintTo(const WrongState& wrong, std::ostream* out)
{
    *out << wrong.content;
}

class NelkaslaveWrongState : public ::testing::TestWithParam<WrongState> {};

TEST_P(NelkaslaveWrongState, IsRefusedWithPlace)
{
    const TemporaryFolder folder;
    makeState(folder.path);
    const std::string file = fileWith(folder.path / "state.json", GetParam().content);
    const Finished finished = slaveWith({"--port", "0", "--state", folder.path});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.err.find("nelkaslave: " + file + GetParam().complaint), 0U) << finished;
}

INSTANTIATE_TEST_SUITE_P(
    , NelkaslaveWrongState,
    ::testing::Values(
        WrongState{"NoJson", "{\n  \"soc\": ,\n}\n", ":2:10: "}, WrongState{"Array", "[]", ":1: must be an object\n"},
        WrongState{"UnknownKey", "{\n\"sok\": 1}", ":2: /sok: is not part of the state\n"},
        WrongState{"UnknownKeyWithin", R"({"sap": {"mode": 1}})", ":1: /sap/mode: is not part of the state\n"},
        WrongState{"DuplicateKey", "{\"soc\": 1,\n\"soc\": 2}", ":2: the key \"soc\" comes twice\n"},
        WrongState{"Fraction", R"({"soc": 1.5})", ":1: /soc: must be an integer from -2147483648 to 2147483647\n"},
        WrongState{"TooLargeNumber", R"({"soc": 1e400})", ":1:"},
        WrongState{"TooLargeInteger", R"({"soc": 2147483648})", ":1: /soc: must be an integer from "},
        WrongState{"TooLargeRefresh", R"({"refresco_web": 65536})", ":1: /refresco_web: must be an integer from 0 to "},
        WrongState{"NegativeScan", R"({"ultimo_scan": -1})", ":1: /ultimo_scan: must be an integer from 0 to "},
        WrongState{"ScanBeforeTime", R"({"entradas": [{"scan": {"inicio": -9223372036854775808}}]})",
                   ":1: /entradas/0/scan/inicio: must be an integer from 0 to "},
        WrongState{"NumberForText", R"({"scripts": ["a", 1]})", ":1: /scripts/1: must be a string\n"},
        WrongState{"TextForTuning", R"({"entradas": [{"sintonia": "x"}]})",
                   ":1: /entradas/0/sintonia: must be an object or null\n"},
        WrongState{"BadBase64", R"({"sap": {"bloque": "A"}})", ":1: /sap/bloque: base64 comes in groups of "},
        WrongState{"DeepNesting", std::string(15000, '['), ":1: values are nested deeper than "}),
    byName);

TEST(NelkaslaveState, AcknowledgedWriteLeavesNoJournal)
{
    const TemporaryFolder folder;
    makeState(folder.path);
    const fs::path syncs = folder.path.string() + ".syncs";
    const SimulatedSlave slave(
        {"--state", folder.path},
        preloaded({"SYNCS=" + syncs.string(), "JOURNAL=" + (folder.path / "modulo.db-journal").string()}));
    int changed = -1;
    clientOf(slave)->execQuery("UPDATE canales SET activo = 0", changed, "canales", ampleTimeout);
    EXPECT_EQ(changed, 6);
    const std::string seen = contents(syncs);
    fs::remove(syncs);
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back(), '-') << seen; // the removal of the journal was synced
}

TEST(NelkaslaveState, UnfinishedStateIsRecreated)
{
    const TemporaryFolder folder;
    const fs::path mark = fileWith(folder.path / ".nelkaslave-unfinished", "");
    fileWith(folder.path / "modulo.db", "half a database");
    SimulatedSlave slave({"--state", folder.path});
    EXPECT_EQ(changes(*clientOf(slave)), 0);
    EXPECT_EQ(slave.end(SIGTERM), 0);
    EXPECT_FALSE(fs::exists(mark));
}

TEST(NelkaslaveState, NextSlaveRecreatesStateAfterKill)
{
    bool finished = false;
    for (int step = 1; step <= 100 && !finished; ++step) {
        const TemporaryFolder folder;
        Program killed(slaveCommand({"--port", "0", "--state", folder.path}),
                       preloaded({"KILL_AT_SYNC=" + std::to_string(step)}));
        finished = !killed.line().empty(); // it listens: there are no more steps
        killed.signal(SIGKILL);
        killed.finish();
        const SimulatedSlave next({"--state", folder.path});
        EXPECT_EQ(changes(*clientOf(next)), 0) << step;
    }
    EXPECT_TRUE(finished);
}

TEST(NelkaslaveState, FailedResetRefusesWritesUntilOneSucceeds)
{
    const TemporaryFolder folder;
    SimulatedSlave slave({"--state", folder.path});
    const auto client = clientOf(slave);
    rlimit unlimited;
    ASSERT_EQ(prlimit(slave.pid(), RLIMIT_FSIZE, nullptr, &unlimited), 0);
    const rlimit nothing = {0, unlimited.rlim_max};

    ASSERT_EQ(prlimit(slave.pid(), RLIMIT_FSIZE, &nothing, nullptr), 0);
    client->resetModuleToFactorySettings(ampleTimeout);
    ASSERT_EQ(prlimit(slave.pid(), RLIMIT_FSIZE, &unlimited, nullptr), 0);
    int answer = -1;
    client->changeFPGASOC(7, answer, ampleTimeout);
    EXPECT_EQ(answer, storageError);
    unsigned long soc = 0;
    answer = -1;
    client->getFPGASOC(soc, answer, ampleTimeout);
    EXPECT_EQ(answer, storageError);
    client->wrFicheroTablasSI(1, 1, {'x'}, ampleTimeout);
    EXPECT_EQ(client->getFault(), storageError);
    client->execQuery("DELETE FROM canales", answer, "canales", ampleTimeout);
    EXPECT_EQ(client->getFault(), storageError);

    client->resetModuleToFactorySettings(ampleTimeout);
    client->changeFPGASOC(7, answer, ampleTimeout);
    EXPECT_EQ(client->getFault(), 0);
    slave.signal(SIGKILL);
    slave.finish();
    const SimulatedSlave next({"--state", folder.path});
    clientOf(next)->getFPGASOC(soc, answer, ampleTimeout);
    EXPECT_EQ(soc, 7U);
}

TEST(NelkaslaveState, SurvivesKillAfterReply)
{
    const TemporaryFolder folder;
    constexpr int rounds = 5;
    for (int round = 1; round <= rounds; ++round) {
        SimulatedSlave slave({"--state", folder.path});
        const auto client = clientOf(slave);
        EXPECT_EQ(changes(*client), round - 1);

        const std::vector<char> block(1000, static_cast<char>(round));
        int status = -1;
        client->changeFPGASOC(static_cast<unsigned long>(round), status, ampleTimeout);
        client->wrFicheroTablasSI(1, 1, block, ampleTimeout);
        EXPECT_EQ(client->getFault(), 0);
        int changed = -1;
        client->execQuery("UPDATE canales SET frecuencia = " + std::to_string(round), changed, "canales", ampleTimeout);
        EXPECT_EQ(slave.end(SIGKILL), -SIGKILL);
        EXPECT_EQ(changed, 6);
    }

    const SimulatedSlave slave({"--state", folder.path});
    const auto client = clientOf(slave);
    EXPECT_EQ(changes(*client), rounds);
    nelkadb::ResultSet rows;
    client->getTable("SELECT count(*) FROM canales WHERE frecuencia = " + std::to_string(rounds), rows, ampleTimeout);
    EXPECT_EQ(rows.value(0, 0), "6");
    unsigned long soc = 0;
    int status = -1;
    client->getFPGASOC(soc, status, ampleTimeout);
    EXPECT_EQ(soc, static_cast<unsigned long>(rounds));
    std::vector<char> block;
    client->rdFicheroTablasSI(1, 1, 0, 0, 0, block, ampleTimeout);
    EXPECT_EQ(block, std::vector<char>(1000, static_cast<char>(rounds)));
}

TEST(NelkaslaveState, KillAtAnyMomentKeepsAcknowledgedWrites)
{
    const TemporaryFolder folder;
    std::mt19937 random(1);
    int acknowledged = 0;
    for (int round = 0; round < 5; ++round) {
        SimulatedSlave slave({"--state", folder.path});
        const auto client = clientOf(slave);
        const int before = changes(*client);
        ASSERT_TRUE(before == acknowledged || before == acknowledged + 1) << before << " of " << acknowledged;
        acknowledged = before;

        std::thread killer([&, moment = std::chrono::microseconds(random() % 60000)] {
            std::this_thread::sleep_for(moment);
            slave.signal(SIGKILL);
        });
        for (int writes = 0; writes < 10000; ++writes) {
            int changed = -1;
            client->execQuery("UPDATE canales SET activo = activo + 1", changed, "canales", ampleTimeout);
            if (changed != 6)
                break;
            ++acknowledged;
        }
        killer.join();
        client->set_timer(0);
        EXPECT_EQ(slave.finish().status, -SIGKILL);
    }

    const SimulatedSlave slave({"--state", folder.path});
    const auto client = clientOf(slave);
    const int written = changes(*client);
    EXPECT_TRUE(written == acknowledged || written == acknowledged + 1) << written << " of " << acknowledged;
    nelkadb::ResultSet rows;
    client->getTable("SELECT min(activo), max(activo) FROM canales", rows, ampleTimeout);
    // The sample has 0 and 1, and each write changes all rows or none.
    EXPECT_EQ(rows.value(0, 0), std::to_string(written));
    EXPECT_EQ(rows.value(0, 1), std::to_string(written + 1));
}

// End ----------------------------------------------------------------------------------------------------------

class NelkaslaveEnd : public ::testing::TestWithParam<int> {};

TEST_P(NelkaslaveEnd, IsCleanWhileWaiting)
{
    SimulatedSlave slave;
    EXPECT_EQ(slave.end(GetParam()), 0);
}

TEST_P(NelkaslaveEnd, IsCleanBetweenCalls)
{
    const TemporaryFolder folder;
    std::mt19937 random(7);
    for (int round = 0; round < 15; ++round) {
        SimulatedSlave slave({"--state", folder.path});
        const auto client = clientOf(slave);
        EXPECT_EQ(changes(*client), 0);
        const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 400);
        while (std::chrono::steady_clock::now() < moment) {
        }
        EXPECT_EQ(slave.end(GetParam()), 0);
    }
}

TEST_P(NelkaslaveEnd, IsCleanIfSignalComesAfterLastCheck)
{
    SimulatedSlave slave({}, preloaded({"RAISE=" + std::to_string(GetParam())}));
    EXPECT_EQ(slave.finish().status, 0);
}

TEST_P(NelkaslaveEnd, IsCleanWhileServing)
{
    const TemporaryFolder folder;
    std::mt19937 random(13);
    for (int round = 0; round < 10; ++round) {
        SimulatedSlave slave({"--state", folder.path});
        const auto client = clientOf(slave);
        std::thread ender([&, moment = std::chrono::microseconds(random() % 20000)] {
            std::this_thread::sleep_for(moment);
            slave.signal(GetParam());
        });
        for (int calls = 0; calls < 10000 && changes(*client) == 0; ++calls) {
        }
        ender.join();
        client->set_timer(0);
        EXPECT_EQ(slave.finish().status, 0);
    }
}

TEST_P(NelkaslaveEnd, DoesNotWaitForSilentClient)
{
    SimulatedSlave slave;
    const int silent = connectedTo(slave.port());
    ASSERT_GE(silent, 0);
    const Stopwatch watch;
    EXPECT_EQ(slave.end(GetParam()), 0);
    EXPECT_LT(watch.elapsed(), std::chrono::milliseconds(1500)); // 2000 if it waited
    close(silent);
}

TEST_P(NelkaslaveEnd, DoesNotWaitForDelay)
{
    const TemporaryFolder folder;
    SimulatedSlave slave({"--behave", fileWith(folder.path / "b", R"({"UpdateNTP": {"delay_ms": 3600000}})")});
    const auto client = clientOf(slave);
    client->updateNTP(200);
    EXPECT_EQ(client->getFault(), -505);
    EXPECT_EQ(slave.end(GetParam()), 0);
}

INSTANTIATE_TEST_SUITE_P(, NelkaslaveEnd, ::testing::Values(SIGTERM, SIGINT, SIGHUP), [](const auto& instance) {
    return std::string(instance.param == SIGTERM ? "Sigterm" : instance.param == SIGINT ? "Sigint" : "Sighup");
});

// Misbehaviour -------------------------------------------------------------------------------------------------

class Behaviour : public ::testing::Test {
protected:
    std::unique_ptr<nelka::XmlrpcClient> toBehave(const std::string& behaviours)
    {
        slave = std::make_unique<SimulatedSlave>(Words{"--behave", fileWith(folder.path / "behave.json", behaviours)});
        return clientOf(*slave);
    }

    TemporaryFolder folder;
    std::unique_ptr<SimulatedSlave> slave;
};

TEST_F(Behaviour, StatusReplacesThatOfSimulation)
{
    const auto client =
        toBehave(R"({"RdHora": {"status": 3}, "get_FPGA_SOC": {"status": 4}, "UpdateNTP": {"status": 9}})");
    unsigned long long hora = 0;
    int status = -1;
    client->getHoraModulo(0, hora, status, ampleTimeout);
    EXPECT_EQ(status, 3);
    EXPECT_GT(hora, 0U);
    unsigned long soc = 0;
    client->getFPGASOC(soc, status, ampleTimeout);
    EXPECT_EQ(soc, 20417U);
    EXPECT_EQ(client->getFault(), 4);
    client->updateNTP(ampleTimeout);
    EXPECT_EQ(client->getFault(), 9);
}

TEST_F(Behaviour, FaultIsAnswered)
{
    const auto client = toBehave(R"({"UpdateNTP": {"fault": [-77, "hoy no"]}})");
    client->updateNTP(ampleTimeout);
    EXPECT_EQ(client->getFault(), -77);
    EXPECT_TRUE(std::string(client->environment().fault_string).ends_with("hoy no"));
}

TEST_F(Behaviour, FixedReplyIsAnswered)
{
    const auto client = toBehave(R"({
        "CheckSincronizado": {"reply": [5, "x", null, true, 1.5, {"a": [1]}]},
        "RdHora": {"reply": [0, {"i8": 9223372036854775807}]},
        "RecibirArchivo": {"reply": [0, {"base64": "AAEC/w=="}]},
        "GetTable": {"reply": [7, [["a"], ["b"]]]}})");
    int status = -1;
    client->checkSincronizado(0, status, ampleTimeout);
    EXPECT_EQ(status, 5);
    for (int twice = 0; twice < 2; ++twice) {
        unsigned long long hora = 0;
        client->getHoraModulo(0, hora, status, ampleTimeout);
        EXPECT_EQ(hora, 9223372036854775807U);
    }
    std::vector<char> content;
    client->RdFicheroEsclavo("anything", 0, content, ampleTimeout);
    EXPECT_EQ(content, (std::vector<char>{'\0', '\1', '\2', '\xFF'}));
    nelkadb::ResultSet rows;
    client->getTable("nonsense", rows, ampleTimeout);
    EXPECT_EQ(client->getFault(), 7);
    EXPECT_EQ(rows.value(0, 0), "b");
}

TEST_F(Behaviour, DelayIsKept)
{
    const auto client = toBehave(R"({"Changes": {"delay_ms": 300, "status": 2}})");
    const auto start = std::chrono::steady_clock::now();
    int count = -1;
    client->xmlrpc_changes(count, ampleTimeout);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
    EXPECT_EQ(client->getFault(), 2);
    client->xmlrpc_changes(count, 50);
    EXPECT_EQ(client->getFault(), -505);
    client->set_timer(0);
}

TEST_F(Behaviour, ListIsUsedInOrderAndLastIsRepeated)
{
    const auto client = toBehave(R"({"Changes": [{"reply": [0, 11]}, {"status": 3}, {"reply": [0, 12]}]})");
    EXPECT_EQ(changes(*client), 11);
    changes(*client);
    EXPECT_EQ(client->getFault(), 3);
    for (int twice = 0; twice < 2; ++twice)
        EXPECT_EQ(changes(*client), 12);
}

TEST_F(Behaviour, ThenReturnsToSimulation)
{
    const auto client = toBehave(R"({"Changes": [{"reply": [0, 11]}, {"reply": [0, 12], "then": "simulate"}]})");
    EXPECT_EQ(changes(*client), 11);
    EXPECT_EQ(changes(*client), 12);
    EXPECT_EQ(changes(*client), 0);
}

TEST_F(Behaviour, SameParametersTakePrecedence)
{
    const auto client = toBehave(R"({"Changes": [
        {"reply": [0, 1]},
        {"params": ["otra"], "reply": [0, 21]},
        {"params": ["otra"], "reply": [0, 22]},
        {"params": ["otra", 1], "reply": [0, 3]}]})");
    EXPECT_EQ(changes(*client), 1);
    client->dbName = "otra";
    EXPECT_EQ(changes(*client), 21);
    EXPECT_EQ(changes(*client), 22);
    EXPECT_EQ(changes(*client), 22);
    client->dbName = "modulo";
    EXPECT_EQ(changes(*client), 1);
}

TEST_F(Behaviour, OtherParametersAreSimulated)
{
    const auto client = toBehave(R"({"Changes": {"params": ["otra"], "reply": [0, 21]}})");
    EXPECT_EQ(changes(*client), 0);
    client->dbName = "otra";
    EXPECT_EQ(changes(*client), 21);
}

TEST_F(Behaviour, FileMayHaveOneLinePerCall)
{
    const auto client = toBehave(R"({"procedure": "Changes", "params": ["modulo"], "reply": [0, 42], "delay_ms": 12}

{"procedure": "UpdateNTP", "fault": [-77, "hoy no"]}
{"procedure": "Changes", "params": ["modulo"], "reply": [0, 43]}
)");
    EXPECT_EQ(changes(*client), 42);
    EXPECT_EQ(changes(*client), 43);
    client->updateNTP(ampleTimeout);
    EXPECT_EQ(client->getFault(), -77);
}

struct Malformed {
    const char* name;
    std::string content;
    std::string complaint; ///< after the file's name
};

void PrintTo(const Malformed& malformed, std::ostream* out)
{
    *out << malformed.content;
}

class InvalidBehaviour : public ::testing::TestWithParam<Malformed> {};

TEST_P(InvalidBehaviour, IsRefusedWithPlace)
{
    const TemporaryFolder folder;
    const std::string file = fileWith(folder.path / "behave.json", GetParam().content);
    const Finished finished = slaveWith({"--port", "0", "--behave", file});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.out, "");
    EXPECT_EQ(finished.err.find("nelkaslave: " + file + GetParam().complaint), 0U) << finished;
}

INSTANTIATE_TEST_SUITE_P(
    , InvalidBehaviour,
    ::testing::Values(
        Malformed{"Nothing", "", ":1:1: "}, Malformed{"WhatIsNoJson", "{\n\"RdHora\": {status: 3}}", ":2:12: "},
        Malformed{"WhatBreaksOff", "{\"RdHora\": {}", ":1:14: "},
        Malformed{"NoObject", "[]", ":1: must be an object of procedures\n"},
        Malformed{"NoProcedure", R"({"RdHor": {}})", ":1: /RdHor: is not a procedure\n"},
        Malformed{"NoBehaviour", R"({"RdHora": 3})", ":1: /RdHora: must be an object\n"},
        Malformed{"AnUnknownWord", R"({"RdHora": {"stat": 3}})", ":1: /RdHora/stat: is not one of "},
        Malformed{"AStatusTooLarge", R"({"RdHora": {"status": 2147483648}})",
                  ":1: /RdHora/status: must be a 32-bit integer\n"},
        Malformed{"ANegativeDelay", R"({"RdHora": {"delay_ms": -1}})", ":1: /RdHora/delay_ms: must be 0 to 3600000\n"},
        Malformed{"AFaultWithoutText", R"({"RdHora": {"fault": [1]}})", ":1: /RdHora/fault: must be [CODE, TEXT]\n"},
        Malformed{"TwoOutcomes", R"({"RdHora": {"status": 1, "reply": []}})", ":1: /RdHora: must have at most one of "},
        Malformed{"AReplyWithTooLargeANumber", R"({"RdHora": {"reply": [0, 5000000000]}})",
                  ":1: /RdHora/reply/1: must be a 32-bit "},
        Malformed{"ATextForANumber", R"({"RdHora": {"reply": [{"i8": "1"}]}})",
                  ":1: /RdHora/reply/0/i8: must be a 64-bit "},
        Malformed{"NoBase64", R"({"RdHora": {"reply": [{"base64": "A"}]}})",
                  ":1: /RdHora/reply/0/base64: base64 comes "},
        Malformed{"AStatusWhereThereIsNone", R"({"sample.add": {"status": 1}})",
                  ":1: /sample.add: the reply of this procedure has no "},
        Malformed{"AFurtherLine", "{\n\"RdHora\": {\n\"delay_ms\":\n5.5\n}}", ":4: /RdHora/delay_ms: must be 0 to "},
        Malformed{"ANumberBeyondAll", R"({"RdHora": {"reply": 1e400}})", ":1:26: number overflow parsing '1e400'"},
        Malformed{"AnIntegerBeyondAll", "\n{\"RdHora\": {\"reply\": 18446744073709551616}}", ":2: the integer 18446"},
        Malformed{"AStatusThatIsAFraction", R"({"RdHora": {"status": 3.0}})", ":1: /RdHora/status: must be a 32-bit "},
        Malformed{"AKeyThatComesTwice", "{\"RdHora\": {},\n\"RdHora\": {}}", ":2: the key \"RdHora\" comes twice"},
        Malformed{"DeepNesting", R"({"RdHora": {"reply": )" + std::string(15000, '['), ":1: values are nested deeper "},
        Malformed{"PaddingInTheMiddle", R"({"RdHora": {"reply": {"base64": "AA==AAAA"}}})",
                  ":1: /RdHora/reply/base64: '='"},
        Malformed{"NoDouble", R"({"RdHora": {"reply": {"double": "0x10"}}})", ":1: /RdHora/reply/double: must be the "},
        Malformed{"WhatXmlrpcCannotSend", R"({"RdHora": {"reply": "\ud83d\ude00"}})", ":1: /RdHora: cannot be sent: "},
        Malformed{"ParamsThatAreNoList", R"({"RdHora": {"params": 0, "status": 1}})",
                  ":1: /RdHora/params: must be an array"},
        Malformed{"AWrongElementOfAList", "{\"RdHora\": [{},\n3]}", ":2: /RdHora/1: must be an object\n"},
        Malformed{"AnotherEnd", R"({"RdHora": {"then": "stop"}})", ":1: /RdHora/then: must be \"simulate\""},
        Malformed{"WhatFollowsTheEnd", R"({"RdHora": [{"then": "simulate"}, {}]})",
                  ":1: /RdHora/1: follows one with \"then\": "},
        Malformed{"Base64WithAnotherMember", R"({"request": {"base64": 5, "x": 1}, "reply": 0})",
                  ":1: /request: must be a string or "},
        Malformed{"ALineOfNoProcedure", "{\"procedure\": \"RdHora\"}\n\n{\"procedure\": \"RdHor\"}\n",
                  ":3: /procedure: is not a procedure\n"},
        Malformed{"ALineWithoutProcedure", "{\"time\": \"\", \"reply\": 0}\n", ":1: must have a procedure\n"},
        Malformed{"ABrokenLine", "{\"procedure\": \"RdHora\"\n{}", ":1:23: "},
        Malformed{"AnAnswerThatOnlyAReplayGives",
                  R"({"procedure": "RdHora", "http": {"status": 500, "type": "text/plain", "body": ""}})",
                  ":1: has an answer that only --replay "}),
    byName);

} // namespace
