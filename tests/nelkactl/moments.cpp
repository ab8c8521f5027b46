// nelkactl: slow tests. A signal at any moment leaves only whole files; the transport's limit is reported.
#include <chrono>
#include <csignal>
#include <random>
#include <string>

#include <unistd.h>

#include "nelkactl.h"

using namespace support;

namespace {

class NelkactlMoments : public Nelkactl, public ::testing::WithParamInterface<int> {};

// Each moment is a random one within the time of a run. The seed is fixed, so that failures can be reproduced.
TEST_P(NelkactlMoments, SignalLeavesOldOrNewContents)
{
    const int signal = GetParam();
    const int moments = 1000;
    const std::string whole(500'000, 'n');
    const Words words = command({"RdFicheroEsclavo", "x", "1", "--output", file()});
    const auto entries = [this] { return std::distance(std::filesystem::directory_iterator(folder), {}); };
    slave.play({replyArray({xml::i4(0), xml::base64(whole)})});
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    ASSERT_EQ(run(words, environment()).status, 0);
    const double duration = std::chrono::duration<double, std::micro>(Clock::now() - start).count();

    std::mt19937 random(static_cast<unsigned int>(signal));
    std::uniform_real_distribution<double> moment(0, duration);
    int replaced = 0;
    int cut = 0;
    for (int i = 0; i < moments; ++i) {
        keep("former");
        Program program(words, environment());
        usleep(static_cast<useconds_t>(moment(random)));
        program.signal(signal);
        const Finished finished = program.finish();
        ASSERT_TRUE(finished.status == -signal || finished.status == 0) << i << finished;
        ASSERT_EQ(entries(), 2) << "block and file, and nothing else: " << i << finished;
        const std::string now = contents(file());
        ASSERT_TRUE(now == "former" || now == whole) << i << finished;
        replaced += now == whole;
        cut += finished.status == -signal;
    }
    EXPECT_GT(replaced, moments / 20) << "the moments are too early";
    EXPECT_GT(cut, moments / 4) << "the moments are too late";
    RecordProperty("cut", cut);
    RecordProperty("replaced", replaced);
}

INSTANTIATE_TEST_SUITE_P(Nelkactl, NelkactlMoments, ::testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto& instance) { return std::string("SIG") + sigabbrev_np(instance.param); });

TEST_F(Nelkactl, TransportTimeoutDiffersFromGivenTimeout)
{
    for (const auto& [timeout, words] :
         {std::pair{"0", "--timeout 0 sets no other ("}, {"60000", "--timeout 60000 is longer ("}}) {
        slave.play({silence()});
        const Finished finished = type({"updateNTP", "-t", timeout});
        EXPECT_EQ(finished.status, 3) << finished;
        EXPECT_NE(
            finished.err.find(std::string(": no answer within the transport's own limit of 17 seconds; ") + words),
            std::string::npos)
            << finished;
    }
}

} // namespace
