// The command line.
#pragma once

#include <filesystem>
#include <optional>

namespace nelkaslave {

struct Options {
    int port = 8080;
    std::optional<std::filesystem::path> state;
    std::optional<std::filesystem::path> behave;
};

/// Nothing if the process is to end with `exitStatus`: help was asked for, or something is wrong and was said.
std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus);

} // namespace nelkaslave
