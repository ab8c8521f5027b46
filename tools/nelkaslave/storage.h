// Files that are complete and on the disk once a writing call has returned.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace nelkaslave {

/// An open file or folder.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : number(descriptor) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }

private:
    int number;
};

/// Throws errno, with the name of the file concerned.
[[noreturn]] void failed(const std::string& name);

Descriptor openFolder(const std::filesystem::path& path);

/// The rest of an open file. The name is for errors.
std::string readAll(const Descriptor& file, const std::string& name);

/// A file's contents; nothing if it does not exist.
std::optional<std::string> readFile(const std::filesystem::path& path);

/// Replaces a file in one step and puts it on the disk. The folder must exist.
void replaceFile(const std::filesystem::path& path, std::string_view bytes);

/// Creates a file, unless it exists, in one step and puts it on the disk.
void makeEmptyFile(const std::filesystem::path& path);

/// Puts a file, or changes to a folder's entries, on the disk. The name is for errors.
void sync(const Descriptor& opened, const std::string& name);

} // namespace nelkaslave
