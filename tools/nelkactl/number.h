// Decimal integers within the range of a type.
#pragma once

#include <charconv>
#include <limits>
#include <string>
#include <system_error>

#include "failure.h"

namespace nelkactl {

template <typename Integer>
std::string rangeOf(Integer lowest = std::numeric_limits<Integer>::min(),
                    Integer highest = std::numeric_limits<Integer>::max())
{
    return std::to_string(lowest) + " to " + std::to_string(highest);
}

/// Throws UsageError unless the text is a decimal integer from `lowest` to `highest`.
template <typename Integer>
Integer decimal(const std::string& name, const std::string& text, Integer lowest = std::numeric_limits<Integer>::min(),
                Integer highest = std::numeric_limits<Integer>::max())
{
    Integer number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < lowest || number > highest)
        throw UsageError(name + " must be an integer, " + rangeOf(lowest, highest) + ", not '" + text + "'");
    return number;
}

} // namespace nelkactl
