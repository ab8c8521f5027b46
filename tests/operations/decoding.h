// Replies of a slave, and how the rules of decoding treat them.
#pragma once

#include <string>
#include <vector>

#include "support/logrecorder.h"
#include "support/operations.h"

namespace support {

struct Element {
    char type; ///< as in a shape; anything else matches no shape
    std::string xml;
};

struct Reply {
    std::vector<Element> elements;
    int status = 0;      ///< if there is one
    bool isArray = true; ///< if false, its only element is the whole reply

    /// The response with this reply.
    std::string body() const;
};

/// One of every type.
const std::vector<Element>& anyElements();

/// The good reply of an operation.
Reply goodReply(const Operation& operation, int status = 0);

/// Good replies with one wrong element, replies that are too short, and replies that are not arrays.
std::vector<Reply> wrongTypes(const Operation& operation);
std::vector<Reply> missingElements(const Operation& operation);
std::vector<Reply> scalars();

/// How a call with a reply ends.
struct Decoding {
    bool throws = false;  ///< std::logic_error, because a text is missing
    bool failed = false;  ///< by a fault of decoding
    bool refused = false; ///< by the slave's status
    int fault = 0;        ///< the fault state
    std::vector<std::string> outputs;
    Lines notes; ///< further lines of the operation, after the disarming and before any error
};

Decoding decodingOf(const Operation& operation, const Reply& reply);

} // namespace support
