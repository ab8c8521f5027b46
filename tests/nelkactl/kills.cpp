// nelkactl --hosts while its processes are killed, for twenty seconds.
#include <csignal>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <poll.h>

#include "fleet.h"
#include "support/stopwatch.h"

using namespace support;

namespace {

std::vector<pid_t> childrenOf(pid_t process)
{
    const std::string number = std::to_string(process);
    std::istringstream children(contents("/proc/" + number + "/task/" + number + "/children"));
    std::vector<pid_t> all;
    for (pid_t child; children >> child;)
        all.push_back(child);
    return all;
}

TEST_F(FleetTest, GoesOnWhileProcessesAreKilled)
{
    const ManySlaves slaves(std::vector<Step>(200, delayed(answering(42), std::chrono::milliseconds(50))));
    const std::string lines = folder / "lines";
    Program program({"/bin/sh", "-c",
                     "exec " NELKACTL " --hosts " + hostsOf(slaves) + " -j 32 --every 1 xmlrpc_changes >" + lines});
    std::minstd_rand random(7);
    int killed = 0;
    for (const Stopwatch watch; watch.elapsed() < std::chrono::seconds(20); poll(nullptr, 0, 10)) {
        const std::vector<pid_t> workers = childrenOf(program.pid());
        if (!workers.empty())
            killed += kill(workers[random() % workers.size()], SIGKILL) == 0;
    }
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(workersOf(slaves), std::vector<pid_t>{});

    std::map<std::string, std::set<std::string>> endings;
    int told = 0, done = 0;
    for (const Json& result : results(contents(lines))) {
        if (result.at("ending") == "done") {
            ++done;
            EXPECT_EQ(result.at("changes"), 42) << result;
        } else {
            ++told;
            EXPECT_EQ(result.at("reason"), "its process was killed by signal 9, Killed") << result;
        }
        endings[result.at("name")].insert(result.at("ending"));
    }
    EXPECT_EQ(endings.size(), 200U) << "every host was asked";
    EXPECT_GT(done, 200);
    EXPECT_GT(told, 100);
    EXPECT_LE(told, killed);
}

} // namespace
