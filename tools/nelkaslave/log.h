// What is said of each call on standard error.
#pragma once

#include <string>

namespace nelkaslave {

/// In UTC, as in 2026-03-01T12:00:00.250Z.
std::string timeOfDay();

/// Writes a line, shortened, unless nobody reads what was written before.
void log(std::string line);

} // namespace nelkaslave
