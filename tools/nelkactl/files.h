// Reads and writes blocks and texts.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace nelkactl {

/// The content of a file; "-" is standard input. Throws FileError, Interrupted.
std::vector<char> readFile(const std::string& path);

/// The same for a block to send. Throws UsageError if it is larger than a slave accepts.
std::vector<char> readBlock(const std::string& path);

/// Writes to standard output, in one piece even if other processes write there. Throws FileError, Interrupted.
void writeToStandardOutput(std::string_view bytes);

/// The same, followed by the rest of a file.
void writeToStandardOutput(std::string_view bytes, std::FILE* rest);

} // namespace nelkactl
