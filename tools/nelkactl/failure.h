// Exceptions that end a run.
#pragma once

#include <stdexcept>
#include <string>

namespace nelkactl {

/// An invalid command line.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A file that cannot be read or written.
struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A signal that ends the run. The text names it and says what became of the interrupted action.
struct Interrupted : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace nelkactl
