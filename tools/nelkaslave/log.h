// The log of calls on standard error.
#pragma once

#include <string>

namespace nelkaslave {

/// UTC, as in 2026-03-01T12:00:00.250Z.
std::string timeOfDay();

/// Writes a line, shortened if long, or drops it if nobody reads the log.
void log(std::string line);

} // namespace nelkaslave
