// Scans of an input. They only take time; their results depend on their parameters alone.
#pragma once

#include <cstdint>
#include <string>

#include "state.h"

namespace nelkaslave {

/// The progress of a scan at `now`, in percent.
int progress(const Scan& scan, int durationMs, std::int64_t now);

/// What a scan of an input has found at that progress.
std::string report(int entrada, const Scan& scan, int percent);

} // namespace nelkaslave
