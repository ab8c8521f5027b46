// What can be read of a slave, as one document.
#pragma once

#include "call.h"

namespace nelkactl {

/// An output for each operation that only reads, with its ending and its reason where it is not done; it ends as the
/// worst of them. Where the first brings no usable answer, nothing else is asked.
void dump(Call& call);

} // namespace nelkactl
