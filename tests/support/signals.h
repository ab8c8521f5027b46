// The process's timer and signals, for tests.
#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <set>

#include <sys/time.h>

#include "scriptedslave.h"
#include "stopwatch.h" // for the duration of interrupted calls

namespace support {

/// The time until the process's timer expires; zero if it is not armed.
inline std::chrono::microseconds timerLeft()
{
    itimerval timer;
    getitimer(ITIMER_REAL, &timer);
    return std::chrono::seconds(timer.it_value.tv_sec) + std::chrono::microseconds(timer.it_value.tv_usec);
}

inline struct sigaction disposition(int signal)
{
    struct sigaction action;
    sigaction(signal, nullptr, &action);
    return action;
}

/// The signals in `all`.
inline std::set<int> members(const sigset_t& all)
{
    std::set<int> found;
    for (int signal = 1; signal < NSIG; ++signal)
        if (sigismember(&all, signal) == 1)
            found.insert(signal);
    return found;
}

/// The signals that the calling thread blocks.
inline std::set<int> blockedSignals()
{
    sigset_t held;
    pthread_sigmask(SIG_SETMASK, nullptr, &held);
    return members(held);
}

/// The signals pending for the calling thread.
inline std::set<int> pendingSignals()
{
    sigset_t pending;
    sigpending(&pending);
    return members(pending);
}

/// During its lifetime the calling thread blocks exactly these signals.
class BlockedSignals {
public:
    explicit BlockedSignals(const std::set<int>& signals)
    {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : signals)
            sigaddset(&held, signal);
        pthread_sigmask(SIG_SETMASK, &held, &former);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t former;
};

/// Runs `action` in a separate thread that blocks SIGALRM, SIGINT and SIGTERM.
inline std::future<void> apart(std::function<void()> action)
{
    const BlockedSignals inherited({SIGALRM, SIGINT, SIGTERM});
    return std::async(std::launch::async, std::move(action));
}

/// Runs `action` in a separate thread, once the slave has received a request.
inline std::future<void> onceAsked(const ScriptedSlave& slave, std::function<void()> action)
{
    return apart([&slave, action = std::move(action)] {
        slave.awaitRequests(1);
        action();
    });
}

} // namespace support
