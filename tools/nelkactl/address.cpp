#include "address.h"

#include <algorithm>
#include <cctype>

#include <arpa/inet.h>

#include "failure.h"
#include "number.h"

namespace nelkactl {

namespace {

unsigned short parsePort(const std::string& text)
{
    return decimal<unsigned short>("PORT", text, 1);
}

[[noreturn]] void refuse(const std::string& text, const std::string& advice)
{
    throw UsageError("HOST cannot be '" + text + "': " + advice);
}

bool isNameCharacter(unsigned char c)
{
    return (c < 0x80 && std::isalnum(c)) || c == '.' || c == '-' || c == '_';
}

// A link-local address includes its interface, as in fe80::1%eth0.
bool isIpv6(const std::string& text)
{
    const std::size_t percent = text.find('%');
    if (percent != std::string::npos) {
        const std::string interface = text.substr(percent + 1);
        if (interface.empty() || !std::all_of(interface.begin(), interface.end(), isNameCharacter))
            return false;
    }
    in6_addr address;
    return inet_pton(AF_INET6, text.substr(0, percent).c_str(), &address) == 1;
}

Address parseBracketed(const std::string& text)
{
    const std::size_t end = text.find(']');
    const std::string host = text.substr(1, end - 1);
    if (end == std::string::npos || !isIpv6(host))
        refuse(text, "brackets hold an IPv6 address, as in [::1] or [::1]:8080");
    const std::string rest = text.substr(end + 1);
    if (rest.empty())
        return {host, {}};
    if (rest.front() != ':')
        refuse(text, "only a port may follow the brackets, as in [::1]:8080");
    return {host, parsePort(rest.substr(1))};
}

} // namespace

Address parseAddress(const std::string& text)
{
    if (text.empty())
        refuse(text, "write a name or an address, as in 127.0.0.1");
    if (const std::size_t scheme = text.find("://"); scheme != std::string::npos)
        refuse(text, "leave out '" + text.substr(0, scheme + 3) + "'");
    if (text.front() == '[')
        return parseBracketed(text);
    if (isIpv6(text))
        return {text, {}};

    const std::size_t colon = text.find(':');
    const std::string host = text.substr(0, colon);
    if (const std::size_t slash = text.find('/'); slash != std::string::npos)
        refuse(text, "leave out '" + text.substr(slash) + "'");
    if (!std::all_of(host.begin(), host.end(), isNameCharacter))
        refuse(text, "a name has letters, digits, '.', '-' and '_' only");
    if (host.empty() || colon == text.size() - 1 || colon != text.rfind(':'))
        refuse(text, "write HOST, HOST:PORT, IPV6 or [IPV6]:PORT");
    if (colon == std::string::npos)
        return {host, {}};
    return {host, parsePort(text.substr(colon + 1))};
}

std::string hostInUrl(const std::string& host)
{
    return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

} // namespace nelkactl
