// A whole scan of an input: start, poll, report.
#pragma once

#include <chrono>

#include "call.h"

namespace nelkactl {

struct Watch {
    std::chrono::milliseconds interval; ///< between polls
    int until;                          ///< the status at which the scan is done
    bool progress;                      ///< whether a terminal shows how far it is
};

/// Outputs `idScan`, `status` and `report`. A SIGINT cancels the scan on the slave; throws Interrupted then.
void scan(Call& call, int entrada, int tipoScan, unsigned char bandaScan, const Watch& watch);

} // namespace nelkactl
