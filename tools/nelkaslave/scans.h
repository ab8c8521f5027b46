// Scans of an input. They do nothing but take their time; what they find depends on what was asked alone.
#pragma once

#include <cstdint>
#include <string>

#include "state.h"

namespace nelkaslave {

/// How far a scan has come at `now`, in percent.
int progress(const Scan& scan, int durationMs, std::int64_t now);

/// What the scan of an input has found when it has come so far.
std::string report(int entrada, const Scan& scan, int percent);

} // namespace nelkaslave
