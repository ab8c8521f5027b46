// Blocks of bytes, as tests make and compare them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace support {

/// Bytes without a period, so that neither a cut nor a repetition goes unseen.
inline std::string bytes(std::size_t size)
{
    std::string all;
    all.reserve(size);
    for (std::uint32_t state = 1; all.size() < size;) {
        state = state * 1'664'525 + 1'013'904'223;
        all += static_cast<char>(state >> 24);
    }
    return all;
}

inline std::string everyByteValue()
{
    std::string all;
    for (int value = 0; value < 256; ++value)
        all += static_cast<char>(value);
    return all;
}

inline std::vector<char> block(std::string_view content)
{
    return {content.begin(), content.end()};
}

/// Says how long the two are where they differ, not what is in them.
inline void expectSameBytes(const std::vector<char>& actual, std::string_view expected)
{
    EXPECT_TRUE(std::ranges::equal(actual, expected)) << actual.size() << " of " << expected.size() << " bytes";
}

} // namespace support
