// Files that are there, whole, once a call that writes them has returned.
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

/// Ends with the error that the last system call left, and the name of what it was about.
[[noreturn]] void failed(const std::string& name);

Descriptor openFolder(const std::filesystem::path& path);

/// What an open file holds from here to its end. The name is for errors.
std::string readAll(const Descriptor& file, const std::string& name);

/// A file's contents; nothing if there is none of that name.
std::optional<std::string> readFile(const std::filesystem::path& path);

/// Puts a file in place of a former one in one step, and on the disk. The folder must be there.
void replaceFile(const std::filesystem::path& path, std::string_view bytes);

/// Makes a file, unless it is there, in one step, and puts it on the disk.
void makeEmptyFile(const std::filesystem::path& path);

/// Puts what was done to a folder's entries on the disk. The name is for errors.
void syncFolder(const Descriptor& folder, const std::string& name);

} // namespace nelkaslave
