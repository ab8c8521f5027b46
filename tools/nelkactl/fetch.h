// Fetches a file, which the slave deletes only once it is stored here.
#pragma once

#include "call.h"

namespace nelkactl {

/// Outputs `bytes`, and `kept` if the deleted file differs from the fetched one.
void fetch(Call& call);

} // namespace nelkactl
