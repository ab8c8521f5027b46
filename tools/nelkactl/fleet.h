// One operation for many hosts, or again and again.
#pragma once

#include "ending.h"
#include "operations.h"
#include "options.h"

namespace nelkactl {

/// Whether many hosts are to be asked, or one many times.
bool asksMuch(const Options& options);

/// Asks each host in a process of its own and writes what comes of it. Returns how the worst of them ended, by
/// worse(). Dies of the SIGINT, SIGTERM or SIGHUP that cuts it short, once nothing is left running. Throws UsageError
/// and FileError, before anything is sent.
Kind askMuch(const Operation& operation, const Options& options);

/// Of two endings the one that leaves more to do. From bad to good: unusable, faulted, timed out, interrupted, refused,
/// done.
Kind worse(Kind one, Kind other);

} // namespace nelkactl
