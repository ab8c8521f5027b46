// Files in JSON, and where in them something is wrong.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace nelkaslave {

using Json = nlohmann::json;

/// What is wrong with a file, and where in it.
class MalformedFile : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// On which line of a file a value begins, and the values in it, by their keys or indices.
struct Lines {
    std::size_t line = 0;
    std::map<std::string, Lines> inner;
};

struct Document {
    std::string file;
    Json value;
    Lines lines;
};

/// Something in a document, and where in it that is.
class Place {
public:
    explicit Place(const Document& document) : Place(document.file, document.value, document.lines, "") {}

    const Json& operator*() const { return *what; }
    const Json* operator->() const { return what; }

    Place operator[](const std::string& key) const { return inner(what->at(key), key); }
    Place operator[](std::size_t index) const { return inner(what->at(index), std::to_string(index)); }

    std::size_t line() const { return lines->line; }

    /// Throws MalformedFile with this place and what was wanted, unless that is right.
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

/// A document in `text`, which begins on that line of the file. Throws MalformedFile, with the line, for what is no
/// JSON, a key that comes twice, a number that is too large, and deep nesting.
Document parseDocument(const std::string& file, std::string_view text, std::size_t firstLine = 1);

/// What a file holds. Throws MalformedFile where there is no such file, and std::system_error for one that cannot be
/// read.
std::string readText(const std::string& file);

} // namespace nelkaslave
