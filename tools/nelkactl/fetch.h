// A file of the slave's, deleted there only once it is safe here.
#pragma once

#include "call.h"

namespace nelkactl {

/// Outputs `bytes`, and `kept` where the slave deleted another file than came first.
void fetch(Call& call);

} // namespace nelkactl
