// The file that --hosts names: whom to ask.
#pragma once

#include <string>
#include <vector>

namespace nelkactl {

struct Host {
    std::string name; ///< as the file has it; HOST[:PORT] where it has none
    std::string host; ///< an IPv6 address without its brackets
    unsigned short port = 0;
};

/// A host a line: [NAME] HOST[:PORT]. What follows a '#' is a comment. "-" is standard input. Throws UsageError, which
/// names the file and the line, for a line that means nothing and for a file without hosts; FileError, Interrupted.
std::vector<Host> readHosts(const std::string& path, unsigned short portWhenAbsent);

} // namespace nelkactl
