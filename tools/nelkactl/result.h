// What a run has to say: its result as a line for scripts, as readable lines, or as one line of words.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "ending.h"

namespace nelkactl {

using Json = nlohmann::ordered_json;

struct Result {
    std::string operation;   ///< empty if none was named
    std::string host;        ///< empty if many were asked
    unsigned short port = 0; ///< 0 where none could be read
    Ending ending;
    int tries = 1;           ///< the last of which is told about
    double milliseconds = 0; ///< how long the call took
    Json outputs = Json::object();
};

/// One JSON object on one line, its end included. `ending` agrees with the exit status.
std::string resultLine(const Result& result);

/// A line for each output; a table as rows.
std::string readable(const Json& outputs);

/// "OPERATION at HOST port PORT: timed out: no answer within 5000 ms", without its end and any control character.
std::string inWords(const Result& result);

} // namespace nelkactl
