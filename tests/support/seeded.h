// Random numbers that are the same in every run.
#pragma once

#include <random>
#include <string>

#include <gtest/gtest.h>

namespace support {

inline std::mt19937 seeded()
{
    const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::seed_seq seed(name.begin(), name.end());
    return std::mt19937(seed);
}

} // namespace support
