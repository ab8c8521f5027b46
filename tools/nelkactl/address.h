// The address of a slave as typed: HOST, HOST:PORT, [IPV6]:PORT.
#pragma once

#include <optional>
#include <string>

namespace nelkactl {

struct Address {
    std::string host; ///< an IPv6 address has no brackets
    std::optional<unsigned short> port;
};

/// Throws UsageError, with a hint, for anything but a name, an IPv4 or an IPv6 address.
Address parseAddress(const std::string& text);

/// The host for a URL: an IPv6 address in brackets.
std::string hostInUrl(const std::string& host);

} // namespace nelkactl
