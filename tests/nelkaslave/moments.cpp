// Signals at random moments of a slave's short life leave nothing behind.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/simulatedslave.h"

using namespace support;

namespace {

class NelkaslaveMoments : public ::testing::TestWithParam<int> {};

TEST_P(NelkaslaveMoments, LeaveNoTemporaryFolder)
{
    const TemporaryFolder folder;
    std::mt19937 random(5);
    int ended = 0; // after the slave had taken over the signals
    for (int moment = 0; moment < 1000; ++moment) {
        Program slave(slaveCommand({"--port", "0"}), {"TMPDIR=" + folder.path.string()});
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 40000));
        slave.signal(GetParam());
        const int status = slave.finish().status;
        ASSERT_TRUE(status == 0 || status == -GetParam()) << status;
        ended += status == 0;
        ASSERT_TRUE(std::filesystem::is_empty(folder.path)) << moment;
    }
    EXPECT_GT(ended, 100);
}

INSTANTIATE_TEST_SUITE_P(, NelkaslaveMoments, ::testing::Values(SIGTERM, SIGHUP), [](const auto& instance) {
    return std::string(instance.param == SIGTERM ? "Sigterm" : "Sighup");
});

} // namespace
