#include "parameters.h"

#include <cstdint>
#include <sstream>

namespace nelkactl {

std::vector<std::string> textsIn(const std::string& joined)
{
    std::vector<std::string> all;
    std::istringstream texts(joined);
    for (std::string text; std::getline(texts, text, separator);)
        all.push_back(text);
    return all;
}

bool Reader<bool>::read(const std::string& name, const std::string& text)
{
    if (text == "1" || text == "true")
        return true;
    if (text == "0" || text == "false")
        return false;
    throw UsageError(name + " must be " + range() + ", not '" + text + "'");
}

Soc Reader<Soc>::read(const std::string& name, const std::string& text)
{
    constexpr std::uint64_t firstNegative = 0xffff'ffff'8000'0000;
    constexpr std::uint64_t lastPositive = 0xffff'ffff;
    std::uint64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || *rest != '\0' || (number > lastPositive && number < firstNegative))
        throw UsageError(name + " must be an integer, " + range() + ", not '" + text + "'");
    return {static_cast<unsigned long>(number)};
}

} // namespace nelkactl
