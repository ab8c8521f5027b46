#include "outputfile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "descriptor.h"
#include "endingsignals.h"
#include "failure.h"
#include "files.h"
#include "number.h"

namespace fs = std::filesystem;

namespace nelkactl {

namespace {

std::string folderOf(const std::string& path)
{
    const std::string folder = fs::path(path).parent_path();
    return folder.empty() ? "." : folder;
}

bool liesBelow(const fs::path& path, const std::string& folder)
{
    return path.string().starts_with(folder + "/");
}

// Syncs to the disk, if the file supports it.
bool synced(int descriptor)
{
    return restarted([&] { return fsync(descriptor); }) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

void syncFolder(const std::string& path)
{
    const Descriptor folder(openFile(folderOf(path), O_RDONLY | O_DIRECTORY));
    if (folder.number >= 0) // a folder may be writable but not readable
        restarted([&] { return fsync(folder.number); });
}

mode_t modeOfNewFiles()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// A file that disappears unless it gets its final name.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string pattern) : path(std::move(pattern)), file(mkostemp(path.data(), O_CLOEXEC)) {}
    ~TemporaryFile()
    {
        if (file.number >= 0 && !stays)
            unlink(path.c_str());
    }

    bool holds(std::string_view bytes) const
    {
        return file.number >= 0 && writeAll(file.number, bytes)
               && restarted([this] { return fsync(file.number); }) == 0;
    }

    // Replaces a file; keeps its mode, and its owner if permitted.
    bool become(const std::string& target)
    {
        struct stat former = {};
        mode_t mode = modeOfNewFiles();
        if (stat(target.c_str(), &former) == 0) {
            const bool owned = fchown(file.number, former.st_uid, former.st_gid) == 0;
            mode = former.st_mode & (owned ? 07777 : 0777);
        }
        stays = fchmod(file.number, mode) == 0 && rename(path.c_str(), target.c_str()) == 0;
        if (stays)
            syncFolder(target);
        return stays;
    }

    const std::string& stay()
    {
        stays = true;
        syncFolder(path);
        return path;
    }

private:
    std::string path;
    Descriptor file;
    bool stays = false;
};

} // namespace

OutputFile::OutputFile(std::string path) : named(std::move(path)), target(named)
{
    if (target == "-") {
        way = Way::descriptor;
        descriptor = STDOUT_FILENO;
    } else {
        followLinks();
    }
    check();
}

bool OutputFile::isStandardOutput() const
{
    return descriptor == STDOUT_FILENO;
}

// Follows links, even to a file that does not exist yet. /dev/stdout and the like lead to an open file, which may be a
// log shared with others: it is written to as it is.
void OutputFile::followLinks()
{
    constexpr int mostLinks = 40; // as in the kernel
    std::error_code error;
    for (int links = 0; links < mostLinks; ++links) {
        const fs::path folder = fs::canonical(folderOf(target), error);
        if (error)
            return;
        const fs::path file = folder / fs::path(target).filename();
        target = file;
        if (folder == fs::canonical("/proc/self/fd", error) || folder == fs::canonical("/proc/thread-self/fd", error)) {
            way = Way::descriptor;
            try {
                descriptor = decimal<int>("", file.filename(), 0);
            } catch (const UsageError&) {
            }
            return;
        }
        if (liesBelow(file, "/proc")) {
            way = Way::append;
            return;
        }
        if (liesBelow(file, "/dev"))
            way = Way::truncate;
        if (!fs::is_symlink(file, error))
            return;
        target = folder / fs::read_symlink(file, error);
    }
}

void OutputFile::check() const
{
    const auto require = [this](bool good) {
        if (!good)
            fail("write", named.empty() ? "''" : named);
    };
    if (way == Way::descriptor) {
        const int flags = fcntl(descriptor, F_GETFL);
        errno = EBADF;
        return require(flags >= 0 && (flags & O_ACCMODE) != O_RDONLY);
    }
    struct stat found = {};
    if (stat(target.c_str(), &found) == 0) {
        errno = EISDIR;
        require(!S_ISDIR(found.st_mode));
        return require(access(target.c_str(), W_OK) == 0);
    }
    require(!target.empty() && errno == ENOENT);
    require(access(folderOf(target).c_str(), W_OK | X_OK) == 0);
}

void OutputFile::replace(std::string_view bytes) const
{
    if (isStandardOutput())
        writeToStandardOutput(bytes);
    if (way == Way::descriptor) {
        if ((!isStandardOutput() && !writeAll(descriptor, bytes)) || !synced(descriptor))
            fail("write", named);
        return;
    }
    if (way != Way::replace || !replaceInOneStep(bytes))
        overwrite(bytes);
}

// False if the file must be overwritten in place.
bool OutputFile::replaceInOneStep(std::string_view bytes) const
{
    struct stat found = {};
    const bool exists = stat(target.c_str(), &found) == 0;
    if (exists && (!S_ISREG(found.st_mode) || found.st_nlink > 1))
        return false;
    TemporaryFile replacement(folderOf(target) + "/.nelkactl.XXXXXX");
    if (replacement.holds(bytes) && replacement.become(target))
        return true;
    const bool forbidden = errno == EACCES || errno == EPERM || errno == EROFS || errno == EBUSY;
    if (!exists || !forbidden)
        fail("write", named);
    return false;
}

void OutputFile::overwrite(std::string_view bytes) const
{
    const Descriptor file(openFile(target, O_WRONLY | O_CREAT | (way == Way::append ? O_APPEND : 0)));
    struct stat found = {};
    if (file.number < 0 || fstat(file.number, &found) != 0)
        fail("write", named);
    // Detects a full disk before the former contents are gone.
    const bool regular = S_ISREG(found.st_mode);
    if (regular && way != Way::append
        && fallocate(file.number, FALLOC_FL_KEEP_SIZE, 0, std::max<off_t>(1, static_cast<off_t>(bytes.size()))) != 0
        && (errno == ENOSPC || errno == EDQUOT))
        fail("write", named);
    if (!writeAll(file.number, bytes)
        || (regular && way != Way::append
            && restarted([&] { return ftruncate(file.number, static_cast<off_t>(bytes.size())); }) != 0)
        || !synced(file.number))
        fail("write", named);
}

std::string OutputFile::keepBeside(std::string_view bytes) const
{
    const BlockedSignals blocked; // these bytes exist nowhere else now
    if (way == Way::replace) {
        TemporaryFile beside(target + ".XXXXXX");
        if (beside.holds(bytes))
            return beside.stay();
    }
    TemporaryFile elsewhere((fs::temp_directory_path() / "nelkactl.XXXXXX").string());
    if (!elsewhere.holds(bytes))
        fail("store the deleted file beside", named);
    return elsewhere.stay();
}

} // namespace nelkactl
