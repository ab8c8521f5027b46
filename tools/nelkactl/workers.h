// Runs of this program in separate processes, because a process can make only one call at a time.
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

/// An unnamed temporary file. It buffers the output of a run until that is complete, so that this process need not.
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
        int status; ///< as from waitpid()
        Spool output;
    };

    explicit Workers(std::size_t mostAtOnce) : most(mostAtOnce) {}
    ~Workers(); ///< kills the running ones
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    std::size_t running() const { return runs.size(); }
    bool full() const { return runs.size() == most; }

    /// Starts this program with other arguments. False while the system allows no more processes; throws
    /// std::system_error if it allows none.
    bool start(std::size_t job, std::vector<std::string> words);

    /// One that has ended, if any.
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
