#include "json.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <vector>

#include "storage.h"

namespace nelkaslave {

namespace {

constexpr std::size_t deepestNesting = 128; // twice what xmlrpc-c reads

// The line of the last character that the parser has read.
struct Progress {
    std::size_t line;
    bool lineEnded = false;

    void take(char character)
    {
        line += lineEnded;
        lineEnded = character == '\n';
    }
};

// The characters of a text, counting the lines read.
struct Followed {
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    const char* at;
    Progress* progress;

    reference operator*() const { return *at; }
    Followed& operator++()
    {
        progress->take(*at++);
        return *this;
    }
    bool operator!=(const Followed& other) const { return at != other.at; }
    bool operator==(const Followed& other) const { return at == other.at; }
};

// Builds a document. The JSON library's builder accepts repeated keys, rounds integers that are too large, and loses
// the lines.
class Builder {
public:
    Builder(Document& target, std::string_view source, std::size_t first, const Progress& where)
        : document(target), text(source), firstLine(first), progress(where)
    {
    }

    bool null() { return add(nullptr); }
    bool boolean(bool value) { return add(value); }
    bool number_integer(std::int64_t value) { return add(value); }
    bool number_unsigned(std::uint64_t value) { return add(value); }
    bool number_float(double value, const std::string& digits)
    {
        if (digits.find_first_of(".eE") == std::string::npos)
            complain("the integer " + digits + " is out of range");
        return add(value);
    }
    bool string(std::string& value) { return add(std::move(value)); }
    bool binary(Json::binary_t&) { return false; } // not in a text
    bool start_object(std::size_t) { return open(Json::object()); }
    bool start_array(std::size_t) { return open(Json::array()); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }

    bool key(std::string& name)
    {
        if (around.back().value->contains(name))
            complain("the key \"" + name + "\" comes twice");
        nextKey = name;
        return true;
    }

    bool parse_error(std::size_t position, const std::string&, const Json::exception& error)
    {
        // The parser counts characters from 1, up to the last one read.
        const std::string_view before = text.substr(0, std::min(position, text.size() + 1) - (position > 0 ? 1 : 0));
        const auto line = firstLine + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
        const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
        std::string what = error.what();
        if (const std::size_t start = what.find(": "); start != std::string::npos)
            what.erase(0, start + 2);
        else if (const std::size_t kind = what.find("] "); kind != std::string::npos)
            what.erase(0, kind + 2);
        throw MalformedFile(document.file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + what);
    }

private:
    struct Level {
        Json* value;
        Lines* lines;
    };

    [[noreturn]] void complain(const std::string& what) const
    {
        throw MalformedFile(document.file + ":" + std::to_string(progress.line) + ": " + what);
    }

    Level place(Json value)
    {
        if (around.empty()) {
            document.value = std::move(value);
            document.lines.line = progress.line;
            return {&document.value, &document.lines};
        }
        const auto& [outer, lines] = around.back();
        std::string name = outer->is_array() ? std::to_string(outer->size()) : nextKey;
        Json& added = outer->is_array() ? outer->emplace_back(std::move(value)) : (*outer)[name] = std::move(value);
        Lines& there = lines->inner[std::move(name)];
        there.line = progress.line;
        return {&added, &there};
    }

    bool add(Json value)
    {
        place(std::move(value));
        return true;
    }

    bool open(Json container)
    {
        if (around.size() == deepestNesting)
            complain("values are nested deeper than " + std::to_string(deepestNesting));
        around.push_back(place(std::move(container)));
        return true;
    }

    bool close()
    {
        around.pop_back();
        return true;
    }

    Document& document;
    std::string_view text;
    std::size_t firstLine;
    const Progress& progress;
    std::vector<Level> around;
    std::string nextKey;
};

} // namespace

void Place::require(bool right, const std::string& wanted) const
{
    if (!right)
        throw MalformedFile(*file + ":" + std::to_string(line()) + ": " + (pointer.empty() ? "" : pointer + ": ")
                            + wanted);
}

std::int64_t Place::integer(std::int64_t least, std::int64_t most, const std::string& wanted) const
{
    require(what->is_number_integer(), wanted);
    const bool representable =
        !what->is_number_unsigned() || what->get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max();
    require(representable && what->get<std::int64_t>() >= least && what->get<std::int64_t>() <= most, wanted);
    return what->get<std::int64_t>();
}

int Place::integer32() const
{
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(integer(Limits::min(), Limits::max(), "must be a 32-bit integer"));
}

std::int64_t Place::integer64() const
{
    using Limits = std::numeric_limits<std::int64_t>;
    return integer(Limits::min(), Limits::max(), "must be a 64-bit integer");
}

std::string Place::string() const
{
    require(what->is_string(), "must be a string");
    return what->get<std::string>();
}

Document parseDocument(const std::string& file, std::string_view text, std::size_t firstLine)
{
    Document document{file, {}, {}};
    Progress progress{firstLine};
    Builder builder(document, text, firstLine, progress);
    Json::sax_parse(Followed{text.data(), &progress}, Followed{text.data() + text.size(), &progress}, &builder);
    return document;
}

std::string readText(const std::string& file)
{
    std::optional<std::string> text = readFile(file);
    if (!text)
        throw MalformedFile(file + ": no such file");
    return std::move(*text);
}

} // namespace nelkaslave
