// Everything that can be read from a slave, as one document.
#pragma once

#include "call.h"

namespace nelkactl {

/// One output per operation that only reads, or its ending and reason if it fails. Ends like the worst of them. Stops
/// if the first brings no usable answer.
void dump(Call& call);

} // namespace nelkactl
