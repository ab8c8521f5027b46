// Runs of this program, each in a process of its own: one remote operation at a time is what a process can do.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace nelkactl {

/// A file without a name, which goes with the object. What a run writes waits there until it is whole, so that this
/// process holds none of it.
class Spool {
public:
    Spool(); ///< throws FileError
    ~Spool();
    Spool(Spool&& other) noexcept;
    Spool& operator=(Spool&& other) noexcept;

    std::FILE* file() const { return stream; }

private:
    std::FILE* stream;
};

class Workers {
public:
    struct Ended {
        std::size_t job;
        std::chrono::system_clock::time_point asked;
        double milliseconds;
        int status; ///< as waitpid() has it
        Spool output;
    };

    explicit Workers(std::size_t mostAtOnce) : most(mostAtOnce) {}
    ~Workers(); ///< kills those that run
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    std::size_t running() const { return runs.size(); }
    bool full() const { return runs.size() == most; }

    /// Starts this program with other words. False while the system allows no further process; throws
    /// std::system_error when it allows none at all.
    bool start(std::size_t job, std::vector<std::string> words);

    /// One that has ended since, if there is one.
    std::optional<Ended> ended();

    void signal(int number) const;

private:
    struct Run {
        std::size_t job;
        std::chrono::system_clock::time_point asked;
        std::chrono::steady_clock::time_point start;
        Spool output;
    };

    const std::size_t most;
    std::map<pid_t, Run> runs;
};

} // namespace nelkactl
