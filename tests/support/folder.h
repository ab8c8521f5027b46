// Folders and files of a test.
#pragma once

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

#include <stdlib.h>

namespace support {

/// An empty folder, removed by the destructor.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
    {
        std::string name = parent / "nelka-test-XXXXXX";
        if (!mkdtemp(name.data()))
            throw std::system_error(errno, std::generic_category(), name);
        path = name;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path path;
};

/// Writes a file and returns its name.
inline std::string fileWith(const std::filesystem::path& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
    return path;
}

/// The content of a file.
inline std::string contents(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace support
