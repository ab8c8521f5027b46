// The file of --hosts.
#pragma once

#include <string>
#include <vector>

namespace nelkactl {

struct Host {
    std::string name; ///< as in the file; HOST[:PORT] if missing
    std::string host; ///< an IPv6 address has no brackets
    unsigned short port = 0;
};

/// One host per line: [NAME] HOST[:PORT]. A '#' begins a comment. "-" is standard input. Throws UsageError, with file
/// and line, for a line that cannot be read and for a file without hosts; FileError, Interrupted.
std::vector<Host> readHosts(const std::string& path, unsigned short portWhenAbsent);

} // namespace nelkactl
