// The command line, as far as it is the same for every operation.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace nelkactl {

struct Options {
    std::string host; ///< as it was typed until it is understood; then an IPv6 address has no brackets
    unsigned short port = 0;
    unsigned short timeout = 5000;
    std::string dbName = "modulo";
    bool json = false;
    bool verbose = false;
    bool quiet = false;
    bool trace = false;
    bool help = false;
    bool version = false;
    std::string operation; ///< empty if none is named
    std::vector<std::string> arguments;
    /// The options that belong to some operation only, as they were given: "--until" and its text.
    std::map<std::string, std::string> particular;
};

/// Throws UsageError; `options` then hold what was understood.
void readCommandLine(int argc, const char* const* argv, Options& options);

} // namespace nelkactl
