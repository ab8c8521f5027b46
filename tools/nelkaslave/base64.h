#pragma once

#include <string>
#include <string_view>

namespace nelkaslave {

std::string toBase64(std::string_view bytes);

/// Throws std::invalid_argument for invalid base64.
std::string fromBase64(std::string_view text);

} // namespace nelkaslave
