// Files in JSON, and where in them something is wrong.
#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

namespace nelkaslave {

using Json = nlohmann::json;

/// What is wrong with a file, and where in it.
class MalformedFile : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// `text` is what the file `name` holds. Throws MalformedFile with line and column.
Json parseJson(const std::string& name, const std::string& text);

} // namespace nelkaslave
