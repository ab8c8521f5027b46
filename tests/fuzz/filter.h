// What is kept from xmlrpc-c's parser, because it is known to crash or exhaust it: defects of that library, not of
// ours.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace fuzz {

/// A 64-bit integer whose text is not one crashes the parser. Nothing but "<i8>digits</i8>" is let through.
inline bool hasMalformedI8(std::string_view xml)
{
    constexpr std::string_view open = "<i8>";
    constexpr std::string_view close = "</i8>";
    for (std::size_t at = xml.find("i8"); at != std::string_view::npos; at = xml.find("i8", at)) {
        if (at == 0 || xml.substr(at - 1, open.size()) != open)
            return true;
        std::string_view rest = xml.substr(at - 1 + open.size());
        if (rest.starts_with('-'))
            rest.remove_prefix(1);
        const std::size_t digits = std::min(rest.find_first_not_of("0123456789"), rest.size());
        if (digits == 0 || digits > 18 || !rest.substr(digits).starts_with(close))
            return true;
        at = xml.find(close, at) + close.size();
    }
    return false;
}

/// Elements within elements are read by recursion without limit.
inline bool isNestedTooDeep(std::string_view xml)
{
    std::size_t depth = 0;
    for (std::size_t at = xml.find('<'); at != std::string_view::npos; at = xml.find('<', at + 1)) {
        const bool closing = at + 1 < xml.size() && xml[at + 1] == '/';
        if (closing && depth > 0)
            --depth;
        else if (!closing && ++depth > 1000)
            return true;
    }
    return false;
}

/// Entities of a document's own are expanded without limit. In an encoding other than UTF-8 none of this can be seen.
inline bool hidesOrDefinesEntities(std::string_view xml)
{
    return xml.find("<!") != std::string_view::npos || xml.find('\0') != std::string_view::npos
           || xml.find("encoding") != std::string_view::npos;
}

inline bool crashesTheDependency(std::string_view xml)
{
    return hasMalformedI8(xml) || isNestedTooDeep(xml) || hidesOrDefinesEntities(xml);
}

} // namespace fuzz
