// The process's timer and signals, as tests look at them.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <future>
#include <set>

#include <sys/time.h>

#include "scriptedslave.h"

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

/// Runs `action` in a thread of its own that takes neither SIGALRM nor SIGINT nor SIGTERM.
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

/// Time since its construction, or the last restart.
class Stopwatch {
public:
    void restart() { start = Clock::now(); }

    std::chrono::microseconds elapsed() const
    {
        return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start = Clock::now();
};

/// How late a call may end. A tool or an emulator under which everything is late is announced with NELKANET_SLOW:
/// nothing is said of lateness then.
inline std::chrono::milliseconds lateness()
{
    return std::getenv("NELKANET_SLOW") ? std::chrono::hours(1) : std::chrono::milliseconds(250);
}

} // namespace support
