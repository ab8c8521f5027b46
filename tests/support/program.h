// A program that runs as a user runs it.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <sys/types.h>

namespace support {

struct Finished {
    int status = -1; ///< the exit status, or minus the signal that ended it
    std::string out;
    std::string err;

    /// The last line of standard error, without its end.
    std::string lastWords() const;
};

std::ostream& operator<<(std::ostream& out, const Finished& finished);

/// A program whose standard streams are pipes.
class Program {
public:
    /// Starts the program at `command[0]`. `environment` entries ("NAME=value") come on top of the test's own.
    /// Standard input holds `input`, and stays open if there is none.
    explicit Program(const std::vector<std::string>& command, const std::vector<std::string>& environment = {},
                     const std::optional<std::string>& input = "");
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return child; }
    void signal(int number) const;

    /// Waits for the next line of standard output, without its end; empty when none comes any more.
    std::string line() const;

    /// The same of standard error.
    std::string errorLine() const;

    /// Waits for its end, reading what it writes. Throws std::runtime_error after 60 seconds; the destructor ends it.
    Finished finish();

private:
    pid_t child = -1;
    int in = -1, out = -1, err = -1;
};

/// Program(...).finish().
Finished run(const std::vector<std::string>& command, const std::vector<std::string>& environment = {},
             const std::optional<std::string>& input = "");

} // namespace support
