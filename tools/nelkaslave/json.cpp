#include "json.h"

#include <algorithm>

namespace nelkaslave {

Json parseJson(const std::string& name, const std::string& text)
{
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        // The parser counts bytes, from 1, to the last it read.
        const std::string before = text.substr(0, std::min(error.byte, text.size() + 1) - (error.byte > 0 ? 1 : 0));
        const auto line = 1 + std::count(before.begin(), before.end(), '\n');
        const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
        std::string what = error.what();
        if (const std::size_t start = what.find(": "); start != std::string::npos)
            what.erase(0, start + 2);
        throw MalformedFile(name + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + what);
    }
}

} // namespace nelkaslave
