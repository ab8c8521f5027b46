#include "files.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"
#include "interruption.h"

namespace fs = std::filesystem;

namespace nelkactl {

namespace {

[[noreturn]] void fail(const std::string& what, const std::string& name)
{
    throw FileError("cannot " + what + " " + name + ": " + std::strerror(errno));
}

class Descriptor {
public:
    explicit Descriptor(int descriptor) : number(descriptor) {}
    ~Descriptor()
    {
        if (number > STDERR_FILENO)
            close(number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int number;
};

// Repeats a system call that a signal cut short, unless it was an interruption.
template <typename Call>
auto repeated(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        interruption::check();
        result = call();
    }
    return result;
}

int openFile(const std::string& path, int flags)
{
    return repeated([&] { return open(path.c_str(), flags | O_CLOEXEC); });
}

bool writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = repeated([&] { return write(descriptor, bytes.data(), bytes.size()); });
        if (written < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// A file that disappears unless it is given another name.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string pattern) : path(std::move(pattern)), file(mkostemp(path.data(), O_CLOEXEC)) {}
    ~TemporaryFile()
    {
        if (file.number >= 0 && !renamed)
            unlink(path.c_str());
    }

    bool become(const std::string& target, std::string_view bytes, mode_t mode)
    {
        renamed = file.number >= 0 && fchmod(file.number, mode) == 0 && writeAll(file.number, bytes)
                  && fsync(file.number) == 0 && rename(path.c_str(), target.c_str()) == 0;
        return renamed;
    }

private:
    std::string path;
    Descriptor file;
    bool renamed = false;
};

// Where links lead, even if nothing is there yet.
fs::path endOfLinks(fs::path path)
{
    constexpr int mostLinks = 40; // as the kernel has it
    std::error_code error;
    for (int links = 0; links < mostLinks && fs::is_symlink(path, error) && !fs::exists(path, error); ++links)
        path = fs::absolute(path, error).parent_path() / fs::read_symlink(path, error);
    const fs::path found = fs::canonical(path, error);
    return error ? path : found;
}

// Whether a file can be replaced, or written to if it is none; errno says why not.
bool writable(const std::string& path)
{
    struct stat found = {};
    if (stat(path.c_str(), &found) == 0) {
        if (S_ISDIR(found.st_mode)) {
            errno = EISDIR;
            return false;
        }
        const bool allowed = access(path.c_str(), W_OK) == 0;
        if (!allowed || !S_ISREG(found.st_mode))
            return allowed;
    } else if (path.empty() || errno != ENOENT) {
        return false;
    }
    const std::string folder = fs::path(path).parent_path();
    return access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) == 0;
}

mode_t modeOfNewFiles()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

std::vector<char> readFile(const std::string& path)
{
    const Descriptor file(path == "-" ? STDIN_FILENO : openFile(path, O_RDONLY));
    const std::string name = path == "-" ? "standard input" : path;
    if (file.number < 0)
        fail("read", name);
    std::vector<char> bytes;
    char piece[65536];
    for (;;) {
        const ssize_t got = repeated([&] { return read(file.number, piece, sizeof piece); });
        if (got < 0)
            fail("read", name);
        if (got == 0)
            return bytes;
        bytes.insert(bytes.end(), piece, piece + got);
    }
}

namespace {

// Processes that share a pipe or a file write more than a page in pieces. Where there are no locks, there are none.
class LockedOutput {
public:
    LockedOutput()
    {
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        repeated([this] { return fcntl(STDOUT_FILENO, F_SETLKW, &whole); });
    }
    ~LockedOutput()
    {
        whole.l_type = F_UNLCK;
        fcntl(STDOUT_FILENO, F_SETLK, &whole);
    }
    LockedOutput(const LockedOutput&) = delete;
    LockedOutput& operator=(const LockedOutput&) = delete;

    void write(std::string_view bytes) const
    {
        if (!writeAll(STDOUT_FILENO, bytes))
            fail("write", "standard output");
    }

private:
    struct flock whole = {};
};

} // namespace

void writeToStandardOutput(std::string_view bytes)
{
    LockedOutput().write(bytes);
}

void writeToStandardOutput(std::string_view bytes, std::FILE* rest)
{
    const LockedOutput output;
    output.write(bytes);
    char piece[65536];
    while (const std::size_t got = std::fread(piece, 1, sizeof piece, rest))
        output.write({piece, got});
    if (std::ferror(rest))
        fail("read", "a temporary file");
}

OutputFile::OutputFile(std::string path) : target(std::move(path))
{
    if (isStandardOutput())
        return;
    target = endOfLinks(target); // links stay, and lead to the new contents
    if (!writable(target))
        fail("write", target.empty() ? "''" : target);
}

void OutputFile::replace(std::string_view bytes) const
{
    if (isStandardOutput())
        return writeToStandardOutput(bytes);
    struct stat found = {};
    const bool exists = stat(target.c_str(), &found) == 0;
    if (exists && !S_ISREG(found.st_mode)) {
        const Descriptor device(openFile(target, O_WRONLY));
        if (device.number < 0 || !writeAll(device.number, bytes))
            fail("write", target);
        return;
    }
    TemporaryFile replacement(target + ".XXXXXX");
    if (!replacement.become(target, bytes, exists ? found.st_mode & 07777 : modeOfNewFiles()))
        fail("write", target);
}

} // namespace nelkactl
