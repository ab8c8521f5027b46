// Suggestions for mistyped names.
#pragma once

#include <string>
#include <vector>

namespace nelkactl {

/// The name with the fewest differing letters, ignoring case; empty if none is close.
std::string nearest(const std::string& text, const std::vector<std::string>& names);

} // namespace nelkactl
