// XML-RPC's messages as a recording writes them.
//
// A value is written as JSON has it: an i4, a boolean, a string, an array, a struct as an object, nil as null, a double
// with the fewest digits that name it. What JSON lacks is an object with one member: {"base64": "AAE="}, {"i8": 42},
// {"dateTime": "20260131T12:00:00"}; {"double": "1.50000000000000000001"} where the digits matter, because a reader
// that rounds otherwise makes another number of fewer of them; {"struct": {...}} for a struct that looks like one of
// these.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "json.h"

namespace nelkaslave {

struct Call {
    std::string procedure;
    Json params = Json::array();

    bool operator==(const Call&) const = default;
};

struct FaultAnswer {
    int code = 0;
    std::string text;
};

/// A reply, or a fault in its place.
struct Answer {
    Json reply;
    std::optional<FaultAnswer> fault;
};

/// Nothing where the XML is no such message, or one that would not come out as it went in.
std::optional<Call> readCall(std::string_view xml);
std::optional<Answer> readAnswer(std::string_view xml);

std::string written(const Answer& answer);

/// What an object with one member stands for: "base64", "i8", "double", "dateTime" or "struct"; null for a struct.
const char* markOf(const Json& object);

/// A value that a file holds; throws MalformedFile for what is none.
Json valueAt(const Place& place);

} // namespace nelkaslave
