// The part of the command line that all operations share.
#pragma once

#include <string>
#include <vector>

#include "parameters.h"

namespace nelkactl {

struct Options {
    std::string operation; ///< empty if not given
    std::vector<std::string> arguments;
    Given given; ///< every option

    // The values of the options of every operation:
    std::string host; ///< as typed; once parsed, without brackets; empty for many hosts
    unsigned short port = 0;
    unsigned short timeout = 0;

    bool has(const Parameter& option) const { return given.contains(option.name); }
};

/// Throws UsageError; `options` then holds what was parsed so far.
void readCommandLine(int argc, const char* const* argv, Options& options);

} // namespace nelkactl
