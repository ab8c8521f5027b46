#include "result.h"

#include <cmath>

namespace nelkactl {

namespace {

// The characters that end a cell or a row, and the escape character.
std::string escaped(const std::string& cell)
{
    std::string text;
    for (const char c : cell) {
        switch (c) {
        case '\t':
            text += "\\t";
            break;
        case '\n':
            text += "\\n";
            break;
        case '\r':
            text += "\\r";
            break;
        case '\\':
            text += "\\\\";
            break;
        default:
            text += c;
        }
    }
    return text;
}

std::string tabbed(const Json& cells)
{
    std::string line;
    for (const Json& cell : cells) {
        if (&cell != &cells.front())
            line += '\t';
        line += cell.is_null() ? "\\N" : escaped(cell.get_ref<const std::string&>());
    }
    return line + '\n';
}

} // namespace

std::string resultLine(const Result& result)
{
    Json line = {{"operation", result.operation},
                 {"host", result.host},
                 {"port", result.port},
                 {"ending", nameOf(result.ending.kind)},
                 {"fault", result.ending.fault}};
    if (result.ending.kind != Kind::done)
        line["reason"] = result.ending.reason;
    if (result.tries > 1)
        line["tries"] = result.tries;
    line["ms"] = std::round(result.milliseconds * 10) / 10;
    line.update(result.outputs);
    return line.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::string readable(const Json& outputs)
{
    std::string text;
    for (const auto& [name, value] : outputs.items()) {
        if (name == "columns") {
            text += value.empty() ? "" : tabbed(value);
        } else if (name == "rows") {
            for (const Json& row : value)
                text += tabbed(row);
        } else {
            text += name + ": " + (value.is_string() ? value.get<std::string>() : value.dump()) + '\n';
        }
    }
    return text;
}

std::string inWords(const Result& result)
{
    std::string line;
    if (!result.operation.empty())
        line = result.operation
               + (result.host.empty() ? "" : " at " + result.host + " port " + std::to_string(result.port)) + ": ";
    line += std::string(nameOf(result.ending.kind)) + ": " + result.ending.reason;
    if (result.tries > 1)
        line += ", at the last of " + std::to_string(result.tries) + " tries";
    for (char& c : line)
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7f)
            c = ' ';
    return line;
}

} // namespace nelkactl
