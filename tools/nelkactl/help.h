// The texts of --help.
#pragma once

#include <string>

#include "operations.h"

namespace nelkactl {

std::string generalHelp();
std::string helpOn(const Operation& operation);

} // namespace nelkactl
