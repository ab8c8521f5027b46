// The signals that end a run: SIGINT, SIGTERM and SIGHUP.
#pragma once

#include <chrono>
#include <csignal>

namespace nelkactl {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

/// Blocks them, and SIGCHLD, during its lifetime.
class BlockedSignals {
public:
    BlockedSignals();
    ~BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    /// Unblocks them for that time, or until one comes.
    void letIn(std::chrono::milliseconds time) const;

private:
    sigset_t former = {};
};

/// Unblocks them, because the parent may have blocked them.
void unblockSignals();

/// Dies of that signal, so that a shell ends its loop too.
[[noreturn]] void dieOf(int signal);

} // namespace nelkactl
