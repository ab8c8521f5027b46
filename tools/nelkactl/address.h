// Where a slave listens, as it is typed: HOST, HOST:PORT, [IPV6]:PORT.
#pragma once

#include <optional>
#include <string>

namespace nelkactl {

struct Address {
    std::string host; ///< an IPv6 address without its brackets
    std::optional<unsigned short> port;
};

/// Throws UsageError, which says what to write instead, for anything but a name, an IPv4 or an IPv6 address.
Address parseAddress(const std::string& text);

/// The host as it stands in a URL: an IPv6 address in brackets.
std::string hostInUrl(const std::string& host);

} // namespace nelkactl
