// The files and tables that a master reads and writes.
#pragma once

#include <filesystem>
#include <string>

namespace nelkaslave {

/// A tree of files; no ".." and no link leads out of it.
class Files {
public:
    explicit Files(std::filesystem::path folder) : root(std::move(folder)) {}

    std::string read(const std::string& path) const;
    void remove(const std::string& path) const;

private:
    std::filesystem::path root;
};

/// Blocks of bytes, each named by two numbers.
class Tables {
public:
    explicit Tables(std::filesystem::path where) : folder(std::move(where)) {}

    std::string read(int first, int second) const;
    void write(int first, int second, const std::string& bytes) const;

private:
    std::filesystem::path file(int first, int second) const;

    std::filesystem::path folder;
};

} // namespace nelkaslave
