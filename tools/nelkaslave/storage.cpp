#include "storage.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "../restarted.h"

namespace nelkaslave {

namespace {

Descriptor openFile(const std::filesystem::path& path, int flags)
{
    return Descriptor(restarted([&] { return open(path.c_str(), flags | O_CLOEXEC, 0644); }));
}

void writeAll(const Descriptor& file, const std::string& name, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = restarted([&] { return write(file.get(), bytes.data(), bytes.size()); });
        if (written < 0)
            failed(name);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

Descriptor::~Descriptor()
{
    if (number >= 0)
        close(number);
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(number, other.number);
    return *this;
}

void failed(const std::string& name)
{
    throw std::system_error(errno, std::generic_category(), name);
}

Descriptor openFolder(const std::filesystem::path& path)
{
    Descriptor folder = openFile(path, O_RDONLY | O_DIRECTORY);
    if (!folder)
        failed(path.string());
    return folder;
}

std::string readAll(const Descriptor& file, const std::string& name)
{
    std::string contents;
    char part[65536];
    for (;;) {
        const ssize_t size = restarted([&] { return read(file.get(), part, sizeof part); });
        if (size < 0)
            failed(name);
        if (size == 0)
            return contents;
        contents.append(part, static_cast<std::size_t>(size));
    }
}

std::optional<std::string> readFile(const std::filesystem::path& path)
{
    const Descriptor file = openFile(path, O_RDONLY);
    if (!file && errno == ENOENT)
        return std::nullopt;
    if (!file)
        failed(path.string());
    return readAll(file, path);
}

void replaceFile(const std::filesystem::path& path, std::string_view bytes)
{
    std::filesystem::path unfinished = path;
    unfinished += ".new";
    const Descriptor file = openFile(unfinished, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file)
        failed(unfinished.string());
    try {
        writeAll(file, unfinished, bytes);
        sync(file, unfinished);
        std::filesystem::rename(unfinished, path);
    } catch (...) {
        unlink(unfinished.c_str()); // frees space on a full disk
        throw;
    }
    sync(openFolder(path.parent_path()), path.parent_path());
}

void makeEmptyFile(const std::filesystem::path& path)
{
    if (!openFile(path, O_WRONLY | O_CREAT))
        failed(path);
    sync(openFolder(path.parent_path()), path.parent_path());
}

void sync(const Descriptor& opened, const std::string& name)
{
    if (restarted([&] { return fsync(opened.get()); }) != 0)
        failed(name);
}

} // namespace nelkaslave
