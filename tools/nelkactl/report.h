// Writes many results.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "hosts.h"
#include "summary.h"

namespace nelkactl {

/// RFC 3339: UTC, to the millisecond.
std::string timestamp(std::chrono::system_clock::time_point time);

/// Writes a result line, preceded by further fields.
void writeLine(const std::vector<std::pair<std::string, std::string>>& fields, std::FILE* line);

/// A table: a row of names, then the results in the order of the hosts.
std::string table(const std::vector<Host>& hosts, const std::map<std::size_t, Summary>& results);

/// "198 done, 1 timed out, 1 refused, 3.4 s"
std::string tally(const std::map<Kind, std::size_t>& endings, std::size_t notAsked, std::chrono::milliseconds time);

} // namespace nelkactl
