// XML-RPC messages in recordings.
//
// Values are JSON: an i4, a boolean, a string, an array, a struct as an object, nil as null, a double with the fewest
// digits that identify it. Types that JSON lacks are objects with one member: {"base64": "AAE="}, {"i8": 42},
// {"dateTime": "20260131T12:00:00"}; {"double": "1.50000000000000000001"} for digits beyond the precision, which a
// reader that rounds differently needs; {"struct": {...}} for a struct that looks like one of these.
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

/// A reply or a fault.
struct Answer {
    Json reply;
    std::optional<FaultAnswer> fault;
};

/// Nothing if the XML is not such a message, or could not be reproduced exactly.
std::optional<Call> readCall(std::string_view xml);
std::optional<Answer> readAnswer(std::string_view xml);

std::string written(const Answer& answer);

/// The type that an object with one member denotes: "base64", "i8", "double", "dateTime" or "struct"; null for a
/// struct.
const char* markOf(const Json& object);

/// Reads a value in a file; throws MalformedFile.
Json valueAt(const Place& place);

} // namespace nelkaslave
