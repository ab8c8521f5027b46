// Runs a program as a user does.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <sys/types.h>

namespace support {

struct Finished {
    int status = -1; ///< the exit status, or minus the signal that killed it
    std::string out;
    std::string err;

    /// The last line of standard error, without its line end.
    std::string lastWords() const;
};

std::ostream& operator<<(std::ostream& out, const Finished& finished);

/// A program whose standard streams are pipes.
class Program {
public:
    /// Starts the program `command[0]`, with the test's environment plus `environment` ("NAME=value"). Standard input
    /// holds `input`; without one it stays open.
    explicit Program(const std::vector<std::string>& command, const std::vector<std::string>& environment = {},
                     const std::optional<std::string>& input = "");
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return child; }
    void signal(int number) const;

    /// Waits for the next line of standard output, without its line end; empty at the end.
    std::string line() const;

    /// The same for standard error.
    std::string errorLine() const;

    /// Reads its output until it ends. Throws std::runtime_error after 60 seconds; the destructor kills it.
    Finished finish();

private:
    pid_t child = -1;
    int in = -1, out = -1, err = -1;
};

/// Program(...).finish().
Finished run(const std::vector<std::string>& command, const std::vector<std::string>& environment = {},
             const std::optional<std::string>& input = "");

} // namespace support
