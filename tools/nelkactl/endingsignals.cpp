#include "endingsignals.h"

#include <cstdlib>
#include <ctime>

#include <poll.h>

namespace nelkactl {

namespace {

sigset_t blocked()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    for (const int signal : endingSignals)
        sigaddset(&set, signal);
    return set;
}

} // namespace

BlockedSignals::BlockedSignals()
{
    const sigset_t set = blocked();
    pthread_sigmask(SIG_BLOCK, &set, &former);
}

BlockedSignals::~BlockedSignals()
{
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

void BlockedSignals::letIn(std::chrono::milliseconds time) const
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec limit = {};
    limit.tv_sec = static_cast<time_t>(seconds.count());
    limit.tv_nsec = static_cast<long>(std::chrono::nanoseconds(time - seconds).count());
    ppoll(nullptr, 0, &limit, &former);
}

void unblockSignals()
{
    const sigset_t set = blocked();
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void dieOf(int signal)
{
    std::signal(signal, SIG_DFL);
    unblockSignals();
    std::raise(signal);
    std::abort();
}

} // namespace nelkactl
