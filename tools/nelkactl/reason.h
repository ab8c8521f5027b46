// Why a call brought no usable answer: in a technician's words first, in the library's own after.
#pragma once

#include <string>

#include <xmlrpc-c/base.h>

#include "options.h"

namespace nelkactl {

/// Whether the fault is one that the slave answered with, and none that xmlrpc-c met.
bool isFaultResponse(const xmlrpc_env& env);

/// The reason of a fault that a call met.
std::string reasonOf(const xmlrpc_env& env, const Options& options);

} // namespace nelkactl
