// A file that takes a block.
#pragma once

#include <string>
#include <string_view>

namespace nelkactl {

class OutputFile {
public:
    /// "-" is standard output. Throws FileError where it is clear already that the file could not be written.
    explicit OutputFile(std::string path);

    bool isStandardOutput() const;

    /// As it was named.
    const std::string& name() const { return named; }

    /// Puts `bytes` in place of the contents and on the disk. A regular file is replaced in one step: whoever reads it
    /// sees the former contents or the new ones. One that cannot be replaced, as it has a second name or its folder is
    /// not to be written, is overwritten; whatever is no regular file, or lies below /dev or /proc, is written to.
    /// Throws FileError, Interrupted.
    void replace(std::string_view bytes) const;

    /// Puts `bytes` into a new file beside it, or in the folder for temporary files where there is no such place.
    /// Returns its path. Throws FileError.
    std::string keepBeside(std::string_view bytes) const;

private:
    enum class Way { replace, truncate, append, descriptor };

    void followLinks();
    void check() const;
    bool replaceInOneStep(std::string_view bytes) const;
    void overwrite(std::string_view bytes) const;

    std::string named;
    std::string target; ///< never a link
    int descriptor = -1;
    Way way = Way::replace;
};

} // namespace nelkactl
