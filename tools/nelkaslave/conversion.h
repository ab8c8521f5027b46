// Converts values between xmlrpc-c and recordings.
#pragma once

#include "messages.h"
#include "wire.h"

namespace nelkaslave {

/// Throws Fault for a value that xmlrpc-c cannot send.
Value toValue(const Json& value);

/// The parameters of a call; null if a recording cannot hold them.
Json fromParameters(xmlrpc_value* parameters);

} // namespace nelkaslave
