// Byte blocks and texts on their way between files and the program.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace nelkactl {

/// What a file holds; "-" is standard input. Throws FileError, Interrupted.
std::vector<char> readFile(const std::string& path);

/// The same of a block to be sent. Throws UsageError as soon as it is larger than any slave takes.
std::vector<char> readBlock(const std::string& path);

/// Writes all of it to standard output, as one piece between those of other processes. Throws FileError, Interrupted.
void writeToStandardOutput(std::string_view bytes);

/// The same, and behind it the rest of a file.
void writeToStandardOutput(std::string_view bytes, std::FILE* rest);

} // namespace nelkactl
