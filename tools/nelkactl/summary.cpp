#include "summary.h"

#include <cstddef>
#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

namespace nelkactl {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t longestValue = 200; // bytes

// On one line, cut between characters.
std::string shortened(std::string text)
{
    for (char& c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7f)
            c = ' ';
    if (text.size() <= longestValue)
        return text;
    std::size_t end = longestValue;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
        --end;
    return text.substr(0, end) + "...";
}

std::optional<Kind> kindNamed(std::string_view name)
{
    for (const Kind kind :
         {Kind::done, Kind::refused, Kind::unusable, Kind::faulted, Kind::timedOut, Kind::interrupted})
        if (name == nameOf(kind))
            return kind;
    return {};
}

// Parses a line while reading it, so that it needs no more memory than its longest text.
class Reader : public nlohmann::json_sax<Json> {
public:
    explicit Reader(Summary& result) : summary(result) {}

    bool kindFound = false;

    bool null() override { return value("null"); }
    bool boolean(bool truth) override { return value(truth ? "true" : "false"); }
    bool number_integer(number_integer_t number) override { return value(std::to_string(number)); }
    bool number_unsigned(number_unsigned_t number) override { return value(std::to_string(number)); }
    bool number_float(number_float_t, const string_t& text) override { return value(text); }
    bool string(string_t& text) override { return value(text); }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(); }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) override { return false; }

    bool key(string_t& name) override
    {
        if (depth == 1)
            field = name;
        else
            mix(name);
        return true;
    }

private:
    bool value(const std::string& text)
    {
        if (depth == 0)
            return false;
        if (depth == 1)
            return take(text);
        if (depth == 2)
            ++elements;
        mix(text);
        return true;
    }

    bool take(const std::string& text)
    {
        if (field == "ending") {
            const std::optional<Kind> kind = kindNamed(text);
            kindFound = kind.has_value();
            summary.kind = kind.value_or(summary.kind);
        }
        if (field == "reason") {
            summary.reason = shortened(text);
        } else if (field == "ms") {
            summary.milliseconds = text;
            outputsBegan = true; // they follow `ms`
        } else if (field != "tries") {
            mix(field);
            mix(text);
            if (outputsBegan)
                summary.outputs.emplace_back(field, shortened(text));
        }
        return true;
    }

    bool open()
    {
        if (depth == 1)
            elements = 0;
        if (depth == 2)
            ++elements;
        ++depth;
        mix("[");
        return true;
    }

    // A list is kept as the number of its elements.
    bool close()
    {
        --depth;
        mix("]");
        if (depth == 1) {
            mix(field);
            summary.outputs.emplace_back(field, std::to_string(elements));
        }
        return true;
    }

    // FNV-1a; a zero ends each text.
    void mix(std::string_view text)
    {
        for (const char c : text)
            mix(static_cast<unsigned char>(c));
        mix(static_cast<unsigned char>('\0'));
    }

    void mix(unsigned char byte) { summary.digest = (summary.digest ^ byte) * 1099511628211U; }

    Summary& summary;
    std::string field;
    int depth = 0;
    std::size_t elements = 0;
    bool outputsBegan = false;
};

} // namespace

bool summarise(std::FILE* file, Summary& summary)
{
    summary = {};
    if (std::fseek(file, -1, SEEK_END) != 0 || std::fgetc(file) != '\n')
        return false;
    std::rewind(file);
    Reader reader(summary);
    return Json::sax_parse(file, &reader) && reader.kindFound;
}

} // namespace nelkactl
