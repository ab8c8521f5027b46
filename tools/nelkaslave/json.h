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

/// What a file holds. Throws MalformedFile, with line and column or because there is no such file, and
/// std::system_error for one that cannot be read.
Json readJson(const std::string& file);

} // namespace nelkaslave
