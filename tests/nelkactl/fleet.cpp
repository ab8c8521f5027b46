// nelkactl --hosts: many slaves, each called by a separate process.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <string>
#include <vector>

#include "fleet.h"
#include "support/signals.h"
#include "support/stopwatch.h"

using namespace support;

namespace {

using Fleet = FleetTest;

const Words changes{"--json", "xmlrpc_changes"};

// The file of hosts --------------------------------------------------------------------------------------------------

TEST_F(Fleet, ReadsNamesAddressesCommentsAndBlankLines)
{
    const ManySlaves slaves(answeringSlaves(3));
    const auto& ports = slaves.ports();
    const std::string text = "\xef\xbb\xbf# the headend\r\n\r\n  mux\t127.0.0.1:" + std::to_string(ports[0])
                             + "\r\nlocalhost:" + std::to_string(ports[1]) + " # the second\n   # nothing\n"
                             + "sat 127.0.0.1:" + std::to_string(ports[2]);
    const Finished finished = ask(hostsWith(text), changes);
    EXPECT_EQ(finished.status, 0) << finished;
    auto found = resultsByName(finished.out);
    ASSERT_EQ(found.size(), 3U) << finished;
    EXPECT_EQ(found["mux"]["changes"], 0);
    EXPECT_EQ(found["localhost:" + std::to_string(ports[1])]["changes"], 1);
    EXPECT_EQ(found["sat"]["changes"], 2);
    EXPECT_EQ(found["sat"]["host"], "127.0.0.1");
    EXPECT_EQ(found["sat"]["port"], ports[2]);
}

TEST_F(Fleet, PortDefaultsToCommandLine)
{
    const ManySlaves slaves(answeringSlaves(1));
    const Finished finished =
        ask(hostsWith("127.0.0.1\n"), changes + Words{"-p", std::to_string(slaves.ports().front())});
    EXPECT_EQ(resultsByName(finished.out)["127.0.0.1"]["ending"], "done") << finished;
}

TEST_F(Fleet, ReadsHostsFromStandardInput)
{
    const ManySlaves slaves(answeringSlaves(2));
    const Finished finished = run(command("-", changes), {}, contents(hostsOf(slaves)));
    EXPECT_EQ(resultsByName(finished.out).size(), 2U) << finished;
}

TEST_F(Fleet, InvalidLineCallsNobody)
{
    const ManySlaves slaves(answeringSlaves(1));
    const std::string good = contents(hostsOf(slaves));
    for (const std::string bad :
         {"m1 127.0.0.1 8080", "m1 http://127.0.0.1", "127.0.0.1/x", "m1 127.0.0.1:0", "m1 127.0.0.1:65536", "m1 [::1",
          "../m1 127.0.0.1", ".. 127.0.0.1", "m\001 127.0.0.1", "m1 127.0.0.1\001"}) {
        const Finished finished = ask(hostsWith(good + "\n" + bad + "\n" + good), changes);
        EXPECT_EQ(finished.status, 2) << bad << "\n" << finished;
        EXPECT_NE(finished.err.find(hosts() + " line 3: "), std::string::npos) << bad << "\n" << finished;
    }
    EXPECT_EQ(slaves.requests(), (std::vector<std::size_t>{0}));
}

TEST_F(Fleet, NeedsHosts)
{
    EXPECT_EQ(ask(hostsWith("# all of them are switched off\n"), changes).status, 2);
    EXPECT_EQ(ask(folder / "nosuch", changes).status, 2);
    EXPECT_EQ(ask("", changes).status, 2);
}

TEST_F(Fleet, InvalidCommandLineCallsNobody)
{
    const ManySlaves slaves(answeringSlaves(2));
    const std::string file = hostsOf(slaves);
    for (const Words& words :
         {Words{"nosuch"}, Words{"getHoraModulo"}, Words{"getHoraModulo", "x"}, Words{"-j", "0", "xmlrpc_changes"},
          Words{"-j", "257", "xmlrpc_changes"}, Words{"-H", "127.0.0.1", "xmlrpc_changes"},
          Words{"wrFicheroTablasSI", "1", "2", "--input", "-"}, Words{"RdFicheroEsclavo", "x", "0", "--output", "-"},
          Words{"RdFicheroEsclavo", "x", "0", "--output", folder / "same"},
          Words{"RdFicheroEsclavo", "x", "0", "--output", folder / "{host}"},
          Words{"RdFicheroEsclavo", "x", "0", "--output", folder / "nosuch" / "{name}"}}) {
        const Finished finished = ask(file, words);
        EXPECT_EQ(finished.status, 2) << ::testing::PrintToString(words) << finished;
    }
    EXPECT_EQ(slaves.requests(), (std::vector<std::size_t>{0, 0}));
    for (const Words& words :
         {Words{"-j", "2"}, Words{"--count", "2"}, Words{"--changes"}, Words{"--every", "0"}, Words{"--every"}})
        EXPECT_EQ(run(Words{NELKACTL, "xmlrpc_changes"} + words).status, 2) << ::testing::PrintToString(words);
}

// Messages ---------------------------------------------------------------------------------------------------------

TEST_F(Fleet, TwoHundredSlavesHaveTheirResults)
{
    constexpr std::size_t silentOnes[] = {7, 140}, refusing = 51, resetting = 199;
    std::vector<Step> steps = answeringSlaves(200);
    for (const std::size_t silent : silentOnes)
        steps[silent] = silence();
    steps[refusing] = replyArray({xml::i4(4), xml::i4(0)});
    steps[resetting] = resetAfterRequest();
    const ManySlaves slaves(steps);
    const Finished finished = ask(hostsOf(slaves), changes + Words{"-t", "3000"});
    EXPECT_EQ(finished.status, 3) << finished.err;
    EXPECT_TRUE(finished.err.starts_with("nelkactl: 196 done, 1 faulted, 2 timed out, 1 refused, ")) << finished.err;

    auto found = resultsByName(finished.out);
    ASSERT_EQ(found.size(), 200U);
    for (std::size_t i = 0; i < 200; ++i) {
        const Json& result = found["m" + std::to_string(i)];
        const bool silent = std::count(std::begin(silentOnes), std::end(silentOnes), i) > 0;
        const std::string ending = silent           ? "timed out"
                                   : i == refusing  ? "refused"
                                   : i == resetting ? "faulted"
                                                    : "done";
        EXPECT_EQ(result["ending"], ending) << result;
        EXPECT_EQ(result["port"], slaves.ports()[i]);
        if (ending == "done") {
            EXPECT_EQ(result["changes"], i);
        } else {
            EXPECT_TRUE(result.contains("reason")) << result;
        }
    }
}

TEST_F(Fleet, PrintsTableInOrderOfFile)
{
    const ManySlaves slaves({delayed(answering(7), std::chrono::milliseconds(300)), answering(123456),
                             replyArray({xml::i4(4), xml::i4(0)})});
    const auto& ports = slaves.ports();
    std::string text;
    const std::string names[] = {"uno", "módulo", "tres"};
    for (std::size_t i = 0; i < 3; ++i)
        text += names[i] + " 127.0.0.1:" + std::to_string(ports[i]) + "\n";
    const Finished finished = ask(hostsWith(text), {"xmlrpc_changes"});
    EXPECT_EQ(finished.status, 1) << finished;
    std::istringstream lines(finished.out);
    std::string line;
    std::vector<std::string> rows;
    while (std::getline(lines, line))
        rows.push_back(line);
    ASSERT_EQ(rows.size(), 4U) << finished;
    EXPECT_TRUE(rows[0].starts_with("name    address  ")) << finished;
    EXPECT_TRUE(rows[1].starts_with("uno     127.0.0.1:" + std::to_string(ports[0]) + "  done     ")) << finished;
    EXPECT_TRUE(rows[2].starts_with("módulo  127.0.0.1:" + std::to_string(ports[1]) + "  done     ")) << finished;
    EXPECT_TRUE(rows[3].starts_with("tres    127.0.0.1:" + std::to_string(ports[2]) + "  refused  ")) << finished;
    const std::size_t changesAt = rows[0].find("changes");
    EXPECT_EQ(rows[1].substr(changesAt), "7");
    EXPECT_EQ(rows[2].substr(changesAt + 1), "123456") << "the accent takes two bytes";
    EXPECT_NE(rows[3].find("the slave's status is 4"), std::string::npos) << finished;
}

TEST_F(Fleet, QuietWritesNothingToStandardError)
{
    const ManySlaves slaves({answering(1), replyArray({xml::i4(4), xml::i4(0)})});
    EXPECT_EQ(ask(hostsOf(slaves), changes + Words{"-q"}).err, "");
}

TEST_F(Fleet, EndsWithWorstEnding)
{
    const Step done = answering(1), refused = replyArray({xml::i4(4), xml::i4(0)}), timedOut = silence(),
               faulted = resetAfterRequest();
    const auto statusOf = [&](const std::vector<Step>& steps) {
        const ManySlaves slaves(steps);
        return ask(hostsOf(slaves), changes + Words{"-t", "1000", "-q"}).status;
    };
    EXPECT_EQ(statusOf({done, done}), 0);
    EXPECT_EQ(statusOf({done, refused, done}), 1);
    EXPECT_EQ(statusOf({timedOut, refused, done}), 4);
    EXPECT_EQ(statusOf({refused, faulted, timedOut}), 3);
}

TEST_F(Fleet, KeepsLargeLinesWhole)
{
    const std::string text(700'000, 'j');
    const ManySlaves slaves(std::vector<Step>(24, replyArray({xml::i4(0), xml::text(text)})));
    const Finished finished = ask(hostsOf(slaves), {"--json", "generarJSONWeb", "0"});
    EXPECT_EQ(finished.status, 0) << finished.err;
    auto found = resultsByName(finished.out);
    ASSERT_EQ(found.size(), 24U);
    for (const auto& [name, result] : found)
        EXPECT_TRUE(result.at("json") == text) << name;
}

// The processes ----------------------------------------------------------------------------------------------------

TEST_F(Fleet, JobsLimitParallelCalls)
{
    const ManySlaves slaves(std::vector<Step>(12, thenClose(delayed(answering(1), std::chrono::milliseconds(200)))));
    EXPECT_EQ(ask(hostsOf(slaves), changes + Words{"-j", "3"}).status, 0);
    EXPECT_EQ(slaves.mostConnections(), 3U);
}

class CutFleet : public FleetTest, public ::testing::WithParamInterface<int> {};

TEST_P(CutFleet, CallsNobodyElseAndPrintsResultsSoFar)
{
    const ManySlaves slaves({answering(0), silence(), silence(), answering(3), answering(4)});
    const BlockedSignals inherited({GetParam()}); // nelkactl unblocks it
    Program program(command(hostsOf(slaves), changes + Words{"-j", "2", "-t", "60000"}));
    const std::string first = program.line();
    slaves.awaitRequests(3);
    program.signal(GetParam());
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, -GetParam()) << finished;
    EXPECT_EQ(workersOf(slaves), std::vector<pid_t>{});
    EXPECT_EQ(slaves.requests(), (std::vector<std::size_t>{1, 1, 1, 0, 0}));
    auto found = resultsByName(first + "\n" + finished.out);
    ASSERT_EQ(found.size(), 3U) << finished;
    EXPECT_EQ(found["m0"]["ending"], "done");
    EXPECT_EQ(found["m1"]["ending"], "interrupted");
    EXPECT_EQ(found["m2"]["ending"], "interrupted");
    EXPECT_TRUE(finished.lastWords().starts_with("nelkactl: 1 done, 2 interrupted, 2 not asked, ")) << finished;
}

INSTANTIATE_TEST_SUITE_P(Nelkactl, CutFleet, ::testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& instance) { return std::string(sigabbrev_np(instance.param)); });

TEST_F(Fleet, KeepsIgnoringHangUp)
{
    const ManySlaves slaves({delayed(answering(1), std::chrono::milliseconds(200)), answering(2)});
    Program program(Words{"/usr/bin/nohup"} + command(hostsOf(slaves), changes + Words{"-j", "1"}));
    slaves.awaitRequests(1);
    program.signal(SIGHUP);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(resultsByName(finished.out).size(), 2U) << finished;
}

TEST_F(Fleet, KilledFleetLeavesNoProcess)
{
    const ManySlaves slaves({silence(), silence()});
    Program program(command(hostsOf(slaves), changes + Words{"-t", "60000"}));
    slaves.awaitRequests(2);
    program.signal(SIGKILL);
    EXPECT_EQ(program.finish().status, -SIGKILL);
    const auto left = [&slaves] { return !workersOf(slaves).empty(); };
    for (int tries = 0; tries < 10000 && left(); ++tries)
        usleep(1000);
    EXPECT_FALSE(left());
}

TEST_F(Fleet, NamesKilledProcessAndGoesOn)
{
    const ManySlaves slaves({silence(), answering(1), answering(2)});
    Program program(command(hostsOf(slaves), changes + Words{"-j", "1", "-t", "60000"}));
    slaves.awaitRequests(1);
    for (const pid_t worker : workersOf(slaves))
        kill(worker, SIGKILL);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 3) << finished;
    auto found = resultsByName(finished.out);
    EXPECT_EQ(found["m0"]["ending"], "faulted");
    EXPECT_EQ(found["m0"]["reason"], "its process was killed by signal 9, Killed");
    EXPECT_EQ(found["m0"]["port"], slaves.ports()[0]);
    EXPECT_EQ(found["m1"]["changes"], 1) << finished;
    EXPECT_EQ(found["m2"]["changes"], 2) << finished;
}

// Repetition ---------------------------------------------------------------------------------------------------------

std::chrono::milliseconds timeOf(const Json& result)
{
    const std::string text = result.at("time");
    std::tm utc = {};
    int milliseconds = -1;
    char end = '\0';
    const char* const rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &utc);
    if (!rest || std::sscanf(rest, ".%3d%c", &milliseconds, &end) != 2 || end != 'Z' || text.size() != 24)
        throw std::runtime_error("no time: " + text);
    return std::chrono::seconds(timegm(&utc)) + std::chrono::milliseconds(milliseconds);
}

TEST_F(Fleet, RepeatsWithTimeOfEachRun)
{
    const ManySlaves slaves(answeringSlaves(2));
    const auto before = std::chrono::system_clock::now().time_since_epoch();
    const Finished finished = ask(hostsOf(slaves), {"xmlrpc_changes", "--every", "200", "--count", "3"});
    const auto after = std::chrono::system_clock::now().time_since_epoch();
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(slaves.requests(), (std::vector<std::size_t>{3, 3}));
    std::vector<std::chrono::milliseconds> times;
    for (const Json& result : results(finished.out))
        if (result.at("name") == "m1")
            times.push_back(timeOf(result));
    ASSERT_EQ(times.size(), 3U) << finished;
    for (std::size_t run = 0; run < times.size(); ++run)
        EXPECT_GE(times[run],
                  std::chrono::floor<std::chrono::milliseconds>(before) + run * std::chrono::milliseconds(200));
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
    EXPECT_LE(times.back(), after);
    EXPECT_LE(after - before, std::chrono::milliseconds(400) + 4 * lateness());
}

TEST_F(Fleet, SkipsMissedRounds)
{
    const ManySlaves slaves({delayed(answering(1), std::chrono::milliseconds(250))});
    const std::string port = std::to_string(slaves.ports().front());
    const Finished finished = run({NELKACTL, "-p", port, "xmlrpc_changes", "--every", "100", "--count", "3"});
    const std::vector<Json> all = results(finished.out);
    ASSERT_EQ(all.size(), 3U) << finished;
    EXPECT_FALSE(all[0].contains("name")) << "one host has none";
    for (std::size_t i = 1; i < all.size(); ++i)
        EXPECT_GE(timeOf(all[i]) - timeOf(all[i - 1]), std::chrono::milliseconds(295)) << finished;
    EXPECT_EQ(slaves.mostConnections(), 1U);
}

TEST_F(Fleet, WritesOnlyChanges)
{
    ScriptedSlave slave({answering(1), answering(1), answering(2), resetAfterRequest(), resetAfterRequest(),
                         answering(2), answering(2)});
    const Finished finished = run(
        {NELKACTL, "-p", std::to_string(slave.port()), "xmlrpc_changes", "--every", "20", "--count", "7", "--changes"});
    EXPECT_EQ(finished.status, 3) << finished;
    std::vector<std::string> endings;
    for (const Json& result : results(finished.out))
        endings.push_back(result.at("ending").get<std::string>()
                          + (result.contains("changes") ? " " + result["changes"].dump() : ""));
    EXPECT_EQ(endings, (std::vector<std::string>{"done 1", "done 2", "faulted", "done 2"})) << finished;
}

TEST_F(Fleet, DetectsChangesWithinTable)
{
    const auto rows = [](const char* cell) {
        return replyArray({xml::i4(0), xml::array({xml::array({xml::text("a")}), xml::array({xml::text(cell)})})});
    };
    ScriptedSlave slave({rows("x"), rows("x"), rows("y")});
    const Finished finished = run(
        {NELKACTL, "-p", std::to_string(slave.port()), "getTable", "q", "--every", "20", "--count", "3", "--changes"});
    const std::vector<Json> all = results(finished.out);
    ASSERT_EQ(all.size(), 2U) << finished;
    EXPECT_EQ(all[1]["rows"], Json::parse(R"([["y"]])"));
}

TEST_F(Fleet, SigintEndsRoundsCleanly)
{
    const ManySlaves slaves({answering(1), silence()});
    Program program(command(hostsOf(slaves), {"xmlrpc_changes", "--every", "1000", "-t", "60000"}));
    const std::string first = program.line();
    slaves.awaitRequests(2);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(finished.out, "") << "nothing of the run that was cut short";
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(workersOf(slaves), std::vector<pid_t>{});
}

// Files --------------------------------------------------------------------------------------------------------------

TEST_F(Fleet, WritesOneFilePerHost)
{
    const std::vector<Step> blocks{replyArray({xml::i4(0), xml::base64("uno")}),
                                   replyArray({xml::i4(0), xml::base64("dos")})};
    const ManySlaves slaves(blocks);
    const auto& ports = slaves.ports();
    const Finished finished =
        ask(hostsOf(slaves), {"RdFicheroEsclavo", "x", "0", "--output", folder / "{name}-{host}-{port}.txt"});
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(contents(folder / ("m0-127.0.0.1-" + std::to_string(ports[0]) + ".txt")), "uno");
    EXPECT_EQ(contents(folder / ("m1-127.0.0.1-" + std::to_string(ports[1]) + ".txt")), "dos");
}

TEST_F(Fleet, PassesTextsAsTyped)
{
    ScriptedSlave slave({replyArray({xml::i4(0)})});
    const std::string file = hostsWith("127.0.0.1:" + std::to_string(slave.port()) + "\n");
    for (const std::string text : {"", "-x", "--json", "[a,b]", "{name}"}) {
        EXPECT_EQ(ask(file, {"ejecutar_script", "--", text}).status, 0) << text;
        EXPECT_EQ(slave.calls().back().parameters, (Words{"string " + text}));
    }
    EXPECT_EQ(ask(file, {"sintonizarCanalTerr", "-1", "1", "--frecuencia=5", "-d", "-otra"}).status, 0);
    EXPECT_EQ(slave.calls().back().parameters.front(), "i4 5");
    EXPECT_EQ(ask(file, {"execQuery", "q", "t", "-d", ""}).status, 0);
    EXPECT_EQ(slave.calls().back().parameters, (Words{"string ", "string t", "string q"}));
}

} // namespace
