// The process's timer and signals, as tests look at them.
#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <set>

#include <sys/time.h>

#include "scriptedslave.h"
#include "stopwatch.h" // what a signal ends is timed

namespace support {

/// Until the process's timer expires; zero while it is not armed.
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

/// Which signals `all` holds.
inline std::set<int> members(const sigset_t& all)
{
    std::set<int> found;
    for (int signal = 1; signal < NSIG; ++signal)
        if (sigismember(&all, signal) == 1)
            found.insert(signal);
    return found;
}

/// The signals that the calling thread holds back.
inline std::set<int> heldSignals()
{
    sigset_t held;
    pthread_sigmask(SIG_SETMASK, nullptr, &held);
    return members(held);
}

/// Those that wait for the calling thread to let them through.
inline std::set<int> pendingSignals()
{
    sigset_t pending;
    sigpending(&pending);
    return members(pending);
}

/// For its life, the calling thread holds back exactly these signals.
class HoldingBack {
public:
    explicit HoldingBack(const std::set<int>& signals)
    {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : signals)
            sigaddset(&held, signal);
        pthread_sigmask(SIG_SETMASK, &held, &former);
    }
    ~HoldingBack() { pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    HoldingBack(const HoldingBack&) = delete;
    HoldingBack& operator=(const HoldingBack&) = delete;

private:
    sigset_t former;
};

/// Runs `action` in a separate thread that takes neither SIGALRM nor SIGINT nor SIGTERM.
inline std::future<void> apart(std::function<void()> action)
{
    const HoldingBack inherited({SIGALRM, SIGINT, SIGTERM});
    return std::async(std::launch::async, std::move(action));
}

/// Runs `action` apart, once the slave has received a request.
inline std::future<void> onceAsked(const ScriptedSlave& slave, std::function<void()> action)
{
    return apart([&slave, action = std::move(action)] {
        slave.awaitRequests(1);
        action();
    });
}

} // namespace support
