// Procedures that misbehave on request.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "wire.h"

namespace nelkaslave {

/// What becomes of a procedure's calls. At most one of status, fault and reply is set.
struct Behaviour {
    std::chrono::milliseconds delay{0};
    std::optional<int> status;
    std::optional<Fault> fault;
    Value reply;
};

using Behaviours = std::map<std::string, Behaviour>;

/// Reads them from a file of JSON. Throws as readJson() does, and MalformedFile for a procedure that there is not.
Behaviours readBehaviours(const std::string& file);

} // namespace nelkaslave
