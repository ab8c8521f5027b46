// What somebody may have meant who typed something else.
#pragma once

#include <string>
#include <vector>

namespace nelkactl {

/// The name that is fewest letters away from a text, whatever their case; empty where none is near.
std::string nearest(const std::string& text, const std::vector<std::string>& names);

} // namespace nelkactl
