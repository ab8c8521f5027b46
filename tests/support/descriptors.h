// The process's open descriptors.
#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace support {

inline std::size_t openDescriptors()
{
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(open), end(open)));
}

} // namespace support
