#include "signals.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <poll.h>

namespace nelkactl::signals {

namespace {

volatile std::sig_atomic_t toEnd = 0;
volatile std::sig_atomic_t noticed = 0;

constexpr int endings[] = {SIGINT, SIGTERM, SIGHUP};

extern "C" void note(int signal)
{
    noticed = 1;
    if (signal != SIGCHLD && toEnd == 0)
        toEnd = signal;
}

sigset_t watched()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    for (const int signal : endings)
        sigaddset(&set, signal);
    return set;
}

void let(int how)
{
    const sigset_t set = watched();
    sigprocmask(how, &set, nullptr);
}

} // namespace

void watch()
{
    struct sigaction action = {};
    action.sa_handler = note;
    sigemptyset(&action.sa_mask);
    sigaction(SIGCHLD, &action, nullptr);
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : endings) {
        struct sigaction former = {};
        sigaction(signal, nullptr, &former);
        // A run that is to survive its terminal was started with SIGHUP ignored.
        if (signal != SIGHUP || former.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
    let(SIG_UNBLOCK);
}

int received()
{
    return toEnd;
}

void wait(std::chrono::milliseconds time)
{
    const Held held;
    if (!noticed) {
        sigset_t none;
        sigemptyset(&none);
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
        timespec limit = {};
        limit.tv_sec = static_cast<time_t>(seconds.count());
        limit.tv_nsec = static_cast<long>(std::chrono::nanoseconds(time - seconds).count());
        ppoll(nullptr, 0, &limit, &none);
    }
    noticed = 0;
}

Held::Held()
{
    let(SIG_BLOCK);
}

Held::~Held()
{
    let(SIG_UNBLOCK);
}

void forgetInChild()
{
    std::signal(SIGCHLD, SIG_DFL);
    for (const int signal : endings)
        std::signal(signal, SIG_DFL);
    let(SIG_UNBLOCK);
}

void dieOf(int signal)
{
    std::signal(signal, SIG_DFL);
    let(SIG_UNBLOCK);
    std::raise(signal);
    std::abort();
}

} // namespace nelkactl::signals
