// What the server does not tell about its port.
#pragma once

#include <set>
#include <string>

namespace nelkaslave {

/// The TCP ports on which this process listens.
std::set<int> listeningPorts();

/// Why a port cannot be opened, in words.
std::string whyNotOpened(int port);

} // namespace nelkaslave
