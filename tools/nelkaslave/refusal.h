// How a procedure refuses a call.
#pragma once

#include <stdexcept>
#include <string>

namespace nelkaslave {

enum Status { ok = 0, notFound = 1, badArgument = 2, databaseError = 3, storageError = 4 };

/// Ends a procedure with a status; the reason goes to the slave's log.
class Refusal : public std::runtime_error {
public:
    Refusal(Status why, const std::string& reason) : std::runtime_error(reason), status(why) {}

    const Status status;
};

} // namespace nelkaslave
