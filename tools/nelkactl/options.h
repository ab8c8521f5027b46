// The command line, as far as it is the same for every operation.
#pragma once

#include <string>
#include <vector>

#include "parameters.h"

namespace nelkactl {

struct Options {
    std::string operation; ///< empty if none is named
    std::vector<std::string> arguments;
    Given given; ///< every option

    // What those of every operation mean:
    std::string host; ///< as it was typed until it is understood; then an IPv6 address has no brackets; none of many
    unsigned short port = 0;
    unsigned short timeout = 0;

    bool has(const Parameter& option) const { return given.contains(option.name); }
};

/// Throws UsageError; `options` then hold what was understood.
void readCommandLine(int argc, const char* const* argv, Options& options);

} // namespace nelkactl
