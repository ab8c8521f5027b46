// A summary of a result line of any length.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "ending.h"

namespace nelkactl {

struct Summary {
    Kind kind = Kind::faulted;
    std::string reason;
    std::string milliseconds;
    std::vector<std::pair<std::string, std::string>> outputs; ///< names and values, shortened if long
    std::uint64_t digest = 14695981039346656037U;             ///< of ending, fault and outputs
};

/// Reads a file. False unless it holds exactly one result line.
bool summarise(std::FILE* file, Summary& summary);

} // namespace nelkactl
