// Users of the results: a check for monitoring systems, metrics for Prometheus, systemd units, GNU parallel.
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>

#include "fleet.h"

using namespace support;

namespace {

std::string withTools()
{
    return "PATH=" + std::filesystem::path(NELKACTL).parent_path().string() + ":" + std::getenv("PATH");
}

bool isInstalled(const std::string& program)
{
    return run({"/bin/sh", "-c", "command -v " + program}).status == 0;
}

class MonitoringCheck : public Nelkactl {
protected:
    Finished check(const Words& words) const
    {
        return run(Words{MONITORING "/check_nelka", "-H", "127.0.0.1:" + std::to_string(slave.port())} + words,
                   {withTools()});
    }

    // "OK - ..." before the bar, and the performance data after it.
    static void expect(const Finished& finished, int status, const std::string& text, const std::string& performance)
    {
        EXPECT_EQ(finished.status, status) << finished;
        EXPECT_EQ(std::count(finished.out.begin(), finished.out.end(), '\n'), 1) << finished;
        EXPECT_TRUE(finished.out.starts_with(text)) << finished;
        EXPECT_NE(finished.out.find(performance), std::string::npos) << finished;
        EXPECT_EQ(finished.err, "");
    }
};

TEST_F(MonitoringCheck, IsOkWhenCallIsDone)
{
    slave.play({replyArray({xml::i4(0), xml::text("todo | bien\n")})});
    const Finished finished = check({"-w", "60000", "-c", "60001"});
    expect(finished, 0, "OK - getAlarmasEstadoControlador done in ", " | time=");
    EXPECT_NE(finished.out.find(" ms, alarmas: todo / bien"), std::string::npos) << "a bar begins performance data";
    EXPECT_NE(finished.out.find("ms;60000;60001;0 status=0\n"), std::string::npos) << finished;
}

TEST_F(MonitoringCheck, WarnsOfSlowSlave)
{
    slave.play({delayed(replyArray({xml::i4(0), xml::i4(42)}), std::chrono::milliseconds(30))});
    expect(check({"-w", "10", "-c", "60000", "xmlrpc_changes"}), 1, "WARNING - xmlrpc_changes done in ", "changes=42");
    expect(check({"-w", "10", "-c", "20", "xmlrpc_changes"}), 2, "CRITICAL - xmlrpc_changes done in ", "changes=42");
}

TEST_F(MonitoringCheck, IsCriticalWhenSlaveRefusesOrIsSilent)
{
    slave.play({replyArray({xml::i4(4)})});
    expect(check({"updateNTP"}), 2, "CRITICAL - updateNTP refused: the slave's status is 4", " | time=");
    slave.play({silence()});
    expect(check({"-t", "50", "updateNTP"}), 2, "CRITICAL - updateNTP timed out: no answer within 50 ms", " | time=");
}

TEST_F(MonitoringCheck, IsUnknownWhenCheckFails)
{
    expect(check({"nosuch"}), 3, "UNKNOWN - nosuch unusable: ", "\n");
    expect(check({"-w", "x"}), 3, "UNKNOWN - ", "\n");
    const Finished without =
        run({"/usr/bin/python3", MONITORING "/check_nelka", "-H", "127.0.0.1"}, {"PATH=" + folder.string()});
    expect(without, 3, "UNKNOWN - nelkactl: ", "\n");
}

class MonitoringMetrics : public FleetTest {
protected:
    std::string file() const { return folder / "nelka.prom"; }

    Finished written(const std::string& lines) const { return run({MONITORING "/nelka-metrics", file()}, {}, lines); }
};

TEST_F(MonitoringMetrics, HaveOneSamplePerHost)
{
    const ManySlaves slaves({answering(42), replyArray({xml::i4(4), xml::i4(0)})});
    const Finished finished = written(ask(hostsOf(slaves), {"--json", "-q", "xmlrpc_changes"}).out);
    EXPECT_EQ(finished.status, 0) << finished;
    const std::string text = contents(file());
    const auto labels = [&](std::size_t i) {
        return "{name=\"m" + std::to_string(i) + "\",host=\"127.0.0.1\",port=\"" + std::to_string(slaves.ports()[i])
               + "\",operation=\"xmlrpc_changes\"";
    };
    EXPECT_NE(text.find("nelka_up" + labels(0) + "} 1\n"), std::string::npos) << text;
    EXPECT_NE(text.find("nelka_up" + labels(1) + "} 0\n"), std::string::npos) << text;
    EXPECT_NE(text.find("nelka_output" + labels(0) + ",output=\"changes\"} 42\n"), std::string::npos) << text;
    EXPECT_NE(text.find("nelka_ending" + labels(1) + ",ending=\"refused\"} 1\n"), std::string::npos) << text;
}

TEST_F(MonitoringMetrics, PassPromtool)
{
    if (!isInstalled("promtool"))
        GTEST_SKIP() << "SKIPPED: the metrics are not shown to promtool, which is not installed";
    const ManySlaves slaves({answering(42), replyArray({xml::i4(4), xml::i4(0)}), resetAfterRequest()});
    const std::string lines =
        ask(hostsOf(slaves), {"--json", "-q", "xmlrpc_changes"}).out
        + R"({"name":"a\"b\\c","operation":"x","host":"h","port":1,"ending":"done","fault":0,"ms":1})" + "\n";
    ASSERT_EQ(written(lines).status, 0);
    const Finished checked = run({"/bin/sh", "-c", "promtool check metrics <" + file()});
    EXPECT_EQ(checked.status, 0) << checked << contents(file());
    EXPECT_EQ(checked.out + checked.err, "");
}

TEST_F(MonitoringMetrics, AreKeptWithoutResult)
{
    fileWith(file(), "before\n");
    const Finished unread = written(ask(hostsWith("a/b\n"), {"--json", "-q", "xmlrpc_changes"}).out);
    EXPECT_EQ(unread.status, 1) << unread;
    EXPECT_NE(unread.err.find("hosts line 1: "), std::string::npos) << unread;
    EXPECT_EQ(written("").status, 1);
    EXPECT_EQ(contents(file()), "before\n");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2) << "a temporary file stayed";
}

TEST(MonitoringUnits, PassSystemdAnalyze)
{
    if (!isInstalled("systemd-analyze"))
        GTEST_SKIP() << "SKIPPED: the units are not shown to systemd-analyze, which is not installed";
    const TemporaryFolder temporary;
    const std::filesystem::path& folder = temporary.path;
    // The programs they start need not be installed here.
    std::string slave = contents(SLAVE_UNIT);
    const std::string program = "/usr/bin/nelkaslave";
    ASSERT_NE(slave.find(program), std::string::npos);
    slave.replace(slave.find(program), program.size(), "/bin/true");
    fileWith(folder / "nelkaslave@.service", slave);
    for (const char* name : {"nelka-metrics.service", "nelka-metrics.timer"})
        fileWith(folder / name, contents(std::string(MONITORING "/") + name));
    const std::string verify = "systemd-analyze verify --man=no nelkaslave@8080.service nelka-metrics.timer "
                               "nelka-metrics.service";
    const Finished verified = run({"/bin/sh", "-c", "cd " + folder.string() + " && " + verify});
    EXPECT_EQ(verified.status, 0) << verified;
    EXPECT_EQ(verified.out + verified.err, "");
}

// GNU parallel, as docs/fleet.md shows it -----------------------------------------------------------------------------

class Parallel : public FleetTest {
protected:
    void SetUp() override
    {
        if (!isInstalled("parallel"))
            GTEST_SKIP() << "SKIPPED: the commands of docs/fleet.md are not tried, as parallel is not installed";
        std::string text;
        for (const ScriptedSlave* slave : {&first, &second})
            text += "127.0.0.1:" + std::to_string(slave->port()) + "\n";
        hostsWith(text);
    }

    // The page's commands that need no other machine.
    static Words shown()
    {
        Words all;
        std::istringstream lines(contents(PAGE));
        for (std::string line; std::getline(lines, line);)
            if (line.starts_with("    parallel ") && line.find("--sshlogin") == std::string::npos)
                all.push_back(line.substr(4));
        return all;
    }

    int type(const std::string& typed) const
    {
        return run({"/bin/sh", "-c", "cd " + folder.string() + " && " + typed},
                   {withTools(), "HOME=" + folder.string(), "NELKA_HOST=", "NELKA_PORT="})
            .status;
    }

    std::vector<std::string> endings() const
    {
        std::vector<std::string> all;
        for (const Json& result : results(contents(folder / "results")))
            all.push_back(result.at("ending"));
        std::sort(all.begin(), all.end());
        return all;
    }

    ScriptedSlave first{{answering(1)}};
    ScriptedSlave second{{resetAfterRequest(), answering(2)}};
};

TEST_F(Parallel, RepeatsOnlyFailedHosts)
{
    const Words commands = shown();
    ASSERT_EQ(commands.size(), 3U);
    EXPECT_EQ(type(commands[0]), 1) << "the number of jobs that failed";
    EXPECT_EQ(endings(), (Words{"done", "faulted"}));
    EXPECT_EQ(type(commands[1]), 0);
    EXPECT_EQ(endings(), (Words{"done", "done", "faulted"}));
    EXPECT_EQ(first.requests().size(), 1U);
    EXPECT_EQ(second.requests().size(), 2U);
}

TEST_F(Parallel, GivesManyHostsToOneJob)
{
    EXPECT_EQ(type(shown().at(2)), 1) << "the number of jobs that failed";
    EXPECT_EQ(endings(), (Words{"done", "faulted"}));
}

} // namespace
