// Byte blocks and texts on their way between files and the program.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace nelkactl {

/// What a file holds; "-" is standard input. Throws FileError, Interrupted.
std::vector<char> readFile(const std::string& path);

/// Writes all of it to standard output, as one piece between those of other processes. Throws FileError, Interrupted.
void writeToStandardOutput(std::string_view bytes);

/// The same, and behind it the rest of a file.
void writeToStandardOutput(std::string_view bytes, std::FILE* rest);

/// A file to be replaced.
class OutputFile {
public:
    /// "-" is standard output. Throws FileError where it is clear already that the file could not be written.
    explicit OutputFile(std::string path);

    bool isStandardOutput() const { return target == "-"; }

    /// Puts `bytes` in place of the contents, in one step: whoever reads the file sees the former or the new ones.
    /// What is no regular file, as a device, is written to. Throws FileError, Interrupted.
    void replace(std::string_view bytes) const;

private:
    std::string target; ///< never a link
};

} // namespace nelkactl
