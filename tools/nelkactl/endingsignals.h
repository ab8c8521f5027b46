// SIGINT, SIGTERM and SIGHUP, which ask a run to end.
#pragma once

#include <chrono>
#include <csignal>

namespace nelkactl {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

/// Blocks them, and SIGCHLD, for its life.
class BlockedSignals {
public:
    BlockedSignals();
    ~BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    /// Lets them in for that long, or until one comes.
    void letIn(std::chrono::milliseconds time) const;

private:
    sigset_t former = {};
};

/// A program may have been started with them blocked.
void unblockSignals();

/// Ends the program by that signal as if it had never been caught: a shell then ends its loop too.
[[noreturn]] void dieOf(int signal);

} // namespace nelkactl
