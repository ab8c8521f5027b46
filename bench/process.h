// Programs that the benchmarks talk to, each in its own process.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

/// A program that runs for this object's life, its standard input and output connected to it by pipes.
class Process {
public:
    /// Pinned to `cpu`, unless that is negative.
    explicit Process(std::vector<std::string> command, int cpu);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void writeLine(const std::string& line) const;

    /// Throws std::runtime_error when the program ends instead.
    std::string readLine() const;

    pid_t id() const { return child; }

private:
    std::string name;
    int input = -1;
    int output = -1;
    pid_t child = -1;
};

/// Pins the calling process; nothing where there is no such processor.
void pinTo(int cpu);

} // namespace bench
