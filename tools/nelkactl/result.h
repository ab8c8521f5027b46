// The result of a run: as a JSON line, as readable lines, or as one line of words.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "ending.h"

namespace nelkactl {

using Json = nlohmann::ordered_json;

struct Result {
    std::string operation;   ///< empty if none was named
    std::string host;        ///< empty for many hosts
    unsigned short port = 0; ///< 0 if it could not be read
    Ending ending;
    int tries = 1;           ///< the result is that of the last
    double milliseconds = 0; ///< how long the call took
    Json outputs = Json::object();
};

/// One JSON object on one line, with its line end. `ending` agrees with the exit status.
std::string resultLine(const Result& result);

/// One line per output; a table as rows.
std::string readable(const Json& outputs);

/// "OPERATION at HOST port PORT: timed out: no answer within 5000 ms", without line end or control characters.
std::string inWords(const Result& result);

} // namespace nelkactl
