// Why a call brought no usable answer: in plain words, then in the library's.
#pragma once

#include <string>

#include <xmlrpc-c/base.h>

#include "options.h"

namespace nelkactl {

/// Whether the fault is the slave's fault response rather than one from xmlrpc-c.
bool isFaultResponse(const xmlrpc_env& env);

/// The reason of a failed call.
std::string reasonOf(const xmlrpc_env& env, const Options& options);

} // namespace nelkactl
