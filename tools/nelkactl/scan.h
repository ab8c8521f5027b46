// A whole scan of an input: start, poll, report.
#pragma once

#include "call.h"

namespace nelkactl {

/// Outputs `idScan`, `status` and `report`. A SIGINT cancels the scan on the slave; throws Interrupted then.
void scan(Call& call);

} // namespace nelkactl
