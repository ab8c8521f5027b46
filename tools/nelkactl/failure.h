// The ways in which a run ends early.
#pragma once

#include <stdexcept>
#include <string>

namespace nelkactl {

/// A command line that means nothing.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A file that cannot be read or written.
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A signal that asks for the end. The words name it, and say what became of what it interrupted.
struct Interrupted : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace nelkactl
