// What is kept of a result line, however long it is.
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
    std::vector<std::pair<std::string, std::string>> outputs; ///< names and values, long ones shortened
    std::uint64_t digest = 14695981039346656037U;             ///< of ending, fault and outputs
};

/// Reads the whole of a file. False unless it holds one result line and nothing else.
bool summarise(std::FILE* file, Summary& summary);

} // namespace nelkactl
