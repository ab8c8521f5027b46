// Blocks of bytes for tests.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace support {

/// Bytes without a period, to reveal cuts and repetitions.
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

/// Reports only the sizes if they differ, not the contents.
inline void expectSameBytes(const std::vector<char>& actual, std::string_view expected)
{
    EXPECT_TRUE(std::ranges::equal(actual, expected)) << actual.size() << " of " << expected.size() << " bytes";
}

} // namespace support
