// One operation for many hosts, or repeated.
#pragma once

#include "ending.h"
#include "operations.h"
#include "options.h"

namespace nelkactl {

/// Whether the options ask for many hosts or for repetition.
bool asksMuch(const Options& options);

/// Calls each host in a separate process and writes the results. Returns the worst ending, by worse(). On SIGINT,
/// SIGTERM or SIGHUP, waits for its processes and dies of the signal. Throws UsageError and FileError before anything
/// is sent.
Kind askMuch(const Operation& operation, const Options& options);

/// The worse of two endings. From worst to best: unusable, faulted, timed out, interrupted, refused, done.
Kind worse(Kind one, Kind other);

} // namespace nelkactl
