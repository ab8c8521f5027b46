// What the server does not know about its port.
#pragma once

#include <set>
#include <string>

#include "storage.h"

namespace nelkaslave {

/// The TCP ports on which this process listens.
std::set<int> listeningPorts();

/// A socket that listens on a port of all addresses. Throws std::system_error.
Descriptor listeningOn(int port);

/// Why a port cannot be opened, in words.
std::string whyNotOpened(int port);

} // namespace nelkaslave
