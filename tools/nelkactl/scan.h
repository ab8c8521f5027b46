// A whole scan of an input: start, poll, report.
#pragma once

#include "call.h"

namespace nelkactl {

/// Outputs `idScan`, `status` and `report`. A scan that ends early is cancelled on the slave.
void scan(Call& call);

} // namespace nelkactl
