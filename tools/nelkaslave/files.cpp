#include "files.h"

#include <cerrno>
#include <sstream>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "refusal.h"
#include "storage.h"

namespace nelkaslave {

namespace {

constexpr off_t largestFile = 64 << 20;

std::vector<std::string> steps(const std::string& path)
{
    std::vector<std::string> names;
    std::istringstream rest(path);
    for (std::string name; std::getline(rest, name, '/');) {
        if (name == "..")
            throw Refusal(badArgument, "a path may not lead upwards: " + path);
        if (!name.empty() && name != ".")
            names.push_back(name);
    }
    if (names.empty() || path.ends_with('/') || path.find('\0') != std::string::npos)
        throw Refusal(badArgument, "not a file name: " + path);
    return names;
}

[[noreturn]] void notOpened(const std::string& path)
{
    switch (errno) {
    case ENOENT:
    case ENOTDIR:
    case ELOOP: // a link, which counts as missing
        throw Refusal(notFound, "no such file: " + path);
    case ENAMETOOLONG:
        throw Refusal(badArgument, "name too long: " + path);
    default:
        failed(path);
    }
}

// A file and its folder, opened name by name so that no link is followed.
struct Found {
    Descriptor folder;
    std::string name;
    Descriptor file;
    off_t size;
};

Found find(const std::filesystem::path& root, const std::string& path)
{
    std::vector<std::string> names = steps(path);
    Found found{openFolder(root), names.back(), Descriptor(-1), 0};
    names.pop_back();
    for (const std::string& name : names) {
        found.folder =
            Descriptor(openat(found.folder.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!found.folder)
            notOpened(path);
    }
    // O_NONBLOCK, because opening a pipe would wait for a writer.
    found.file =
        Descriptor(openat(found.folder.get(), found.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!found.file)
        notOpened(path);
    struct stat kind = {};
    if (fstat(found.file.get(), &kind) != 0)
        failed(path);
    if (!S_ISREG(kind.st_mode))
        throw Refusal(badArgument, "not a file: " + path);
    found.size = kind.st_size;
    return found;
}

} // namespace

std::string Files::read(const std::string& path) const
{
    const Found found = find(root, path);
    if (found.size > largestFile)
        throw Refusal(storageError, "too large to be sent: " + path);
    return readAll(found.file, path);
}

void Files::remove(const std::string& path) const
{
    const Found found = find(root, path);
    if (unlinkat(found.folder.get(), found.name.c_str(), 0) != 0)
        failed(path);
    sync(found.folder, path);
}

std::string Tables::read(int first, int second) const
{
    const auto bytes = readFile(file(first, second));
    if (!bytes)
        throw Refusal(notFound, "no table " + std::to_string(first) + ", " + std::to_string(second));
    return *bytes;
}

void Tables::write(int first, int second, const std::string& bytes) const
{
    replaceFile(file(first, second), bytes);
}

std::filesystem::path Tables::file(int first, int second) const
{
    return folder / (std::to_string(first) + "_" + std::to_string(second));
}

} // namespace nelkaslave
