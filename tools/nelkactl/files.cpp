#include "files.h"

#include <limits>

#include <fcntl.h>
#include <unistd.h>

#include "descriptor.h"
#include "failure.h"

namespace nelkactl {

namespace {

// Stops once it has read more than `most`.
std::vector<char> readAtMost(const std::string& path, std::size_t most)
{
    const Descriptor file(path == "-" ? STDIN_FILENO : openFile(path, O_RDONLY));
    const std::string name = path == "-" ? "standard input" : path;
    if (file.number < 0)
        fail("read", name);
    std::vector<char> bytes;
    char piece[65536];
    for (;;) {
        const ssize_t got = restarted([&] { return read(file.number, piece, sizeof piece); });
        if (got < 0)
            fail("read", name);
        bytes.insert(bytes.end(), piece, piece + got);
        if (got == 0 || bytes.size() > most)
            return bytes;
    }
}

} // namespace

std::vector<char> readFile(const std::string& path)
{
    return readAtMost(path, std::numeric_limits<std::size_t>::max());
}

std::vector<char> readBlock(const std::string& path)
{
    // A slave accepts 1 MiB of XML, in which 57 bytes take a line of 76 characters.
    constexpr std::size_t largest = std::size_t{1048576} / (76 + 2) * 57;
    std::vector<char> bytes = readAtMost(path, largest);
    if (bytes.size() > largest)
        throw UsageError("a block may have at most " + std::to_string(largest)
                         + " bytes, as many as fit into 1 MiB of XML");
    return bytes;
}

namespace {

// Without a lock, processes that share a pipe or a file would mix pieces longer than a page. Some files have no locks.
class LockedOutput {
public:
    LockedOutput()
    {
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        restarted([this] { return fcntl(STDOUT_FILENO, F_SETLKW, &whole); });
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

} // namespace nelkactl
