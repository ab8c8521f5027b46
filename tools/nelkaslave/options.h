// The command line.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace nelkaslave {

struct Options {
    int port = 8080;
    std::optional<std::filesystem::path> state;
    std::optional<std::filesystem::path> behave;
    std::optional<std::string> forward;
    std::optional<std::filesystem::path> record;
    std::chrono::milliseconds forwardTimeout{20000}; ///< longer than the library's clients wait
    std::optional<std::filesystem::path> replay;
    bool replayOnce = false;
    double speed = 1;
    std::optional<std::filesystem::path> show;
    bool plot = false;
};

/// Nothing if the process must end with `exitStatus`, after help or an error message.
std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus);

} // namespace nelkaslave
