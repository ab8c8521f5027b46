// A file that receives a block.
#pragma once

#include <string>
#include <string_view>

namespace nelkactl {

class OutputFile {
public:
    /// "-" is standard output. Throws FileError if it is already clear that the file cannot be written.
    explicit OutputFile(std::string path);

    bool isStandardOutput() const;

    /// As typed.
    const std::string& name() const { return named; }

    /// Replaces the contents by `bytes`, on the disk. A regular file is replaced in one step, so readers see the former
    /// contents or the new ones. If it has several hard links, or its folder cannot be written, it is overwritten in
    /// place. Anything but a regular file, and anything below /dev or /proc, is written to. Throws FileError,
    /// Interrupted.
    void replace(std::string_view bytes) const;

    /// Writes `bytes` to a new file beside it or, if that fails, in the folder for temporary files. Returns its path.
    /// Throws FileError.
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
