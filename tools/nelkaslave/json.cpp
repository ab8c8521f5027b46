#include "json.h"

#include <algorithm>
#include <optional>

#include "storage.h"

namespace nelkaslave {

namespace {

Json parse(const std::string& name, const std::string& text)
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

} // namespace

Json readJson(const std::string& file)
{
    const std::optional<std::string> text = readFile(file);
    if (!text)
        throw MalformedFile(file + ": no such file");
    return parse(file, *text);
}

} // namespace nelkaslave
