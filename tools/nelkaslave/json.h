// JSON files, with the lines of their values.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace nelkaslave {

using Json = nlohmann::json;

/// An error in a file, and its place.
class MalformedFile : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The line on which a value begins, and those of its members or elements.
struct Lines {
    std::size_t line = 0;
    std::map<std::string, Lines> inner;
};

struct Document {
    std::string file;
    Json value;
    Lines lines;
};

/// A value in a document, and its place.
class Place {
public:
    explicit Place(const Document& document) : Place(document.file, document.value, document.lines, "") {}

    const Json& operator*() const { return *what; }
    const Json* operator->() const { return what; }

    Place operator[](const std::string& key) const { return inner(what->at(key), key); }
    Place operator[](std::size_t index) const { return inner(what->at(index), std::to_string(index)); }

    std::size_t line() const { return lines->line; }

    /// Throws MalformedFile with this place and what was expected, unless the condition holds.
    void require(bool right, const std::string& wanted) const;

    std::int64_t integer(std::int64_t least, std::int64_t most, const std::string& wanted) const;
    int integer32() const;
    std::int64_t integer64() const;
    std::string string() const;

private:
    Place(const std::string& name, const Json& where, const Lines& there, std::string path)
        : file(&name), what(&where), lines(&there), pointer(std::move(path))
    {
    }

    Place inner(const Json& value, const std::string& key) const
    {
        return Place(*file, value, lines->inner.at(key), pointer + "/" + key);
    }

    const std::string* file;
    const Json* what;
    const Lines* lines;
    std::string pointer;
};

/// Parses `text`, which begins on the given line of the file. Throws MalformedFile, with the line, for invalid JSON, a
/// repeated key, a number that is too large, and deep nesting.
Document parseDocument(const std::string& file, std::string_view text, std::size_t firstLine = 1);

/// The content of a file. Throws MalformedFile if it does not exist, and std::system_error if it cannot be read.
std::string readText(const std::string& file);

} // namespace nelkaslave
