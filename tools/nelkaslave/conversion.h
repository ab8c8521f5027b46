// Between XML-RPC's values as xmlrpc-c holds them and as a recording writes them.
#pragma once

#include "messages.h"
#include "wire.h"

namespace nelkaslave {

/// Throws Fault for what xmlrpc-c cannot send.
Value toValue(const Json& value);

/// The parameters of a call; null where a recording could not hold them.
Json fromParameters(xmlrpc_value* parameters);

} // namespace nelkaslave
