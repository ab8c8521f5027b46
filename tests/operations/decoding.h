// Replies of a slave, and what becomes of them by the rules of decoding.
#pragma once

#include <string>
#include <vector>

#include "support/logrecorder.h"
#include "support/operations.h"

namespace support {

struct Element {
    char type; ///< as in a shape; anything else fits no shape
    std::string xml;
};

struct Reply {
    std::vector<Element> elements;
    int status = 0;      ///< among them, where there is one
    bool isArray = true; ///< or else its one element is all of it

    /// The response that carries it.
    std::string body() const;
};

/// One of every type.
const std::vector<Element>& anyElements();

/// What an operation asks for.
Reply goodReply(const Operation& operation, int status = 0);

/// Good replies with something else at one place, those that end too soon, and what is no array at all.
std::vector<Reply> wrongTypes(const Operation& operation);
std::vector<Reply> missingElements(const Operation& operation);
std::vector<Reply> scalars();

/// How a call ends that was replied to.
struct Decoding {
    bool throws = false;  ///< std::logic_error, for want of a text
    bool failed = false;  ///< by a fault of decoding
    bool refused = false; ///< by the slave's status
    int fault = 0;        ///< the fault state
    std::vector<std::string> outputs;
    Lines notes; ///< lines of the operation's own, once the timer is disarmed and before any error's
};

Decoding decodingOf(const Operation& operation, const Reply& reply);

} // namespace support
