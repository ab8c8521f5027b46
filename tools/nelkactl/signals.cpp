#include "signals.h"

#include <csignal>

#include "endingsignals.h"

namespace nelkactl::signals {

namespace {

volatile std::sig_atomic_t toEnd = 0;
volatile std::sig_atomic_t noticed = 0;

extern "C" void note(int signal)
{
    noticed = 1;
    if (signal != SIGCHLD && toEnd == 0)
        toEnd = signal;
}

} // namespace

void watch()
{
    struct sigaction action = {};
    action.sa_handler = note;
    sigemptyset(&action.sa_mask);
    sigaction(SIGCHLD, &action, nullptr);
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : endingSignals) {
        struct sigaction former = {};
        sigaction(signal, nullptr, &former);
        // A run started by nohup ignores SIGHUP, and must survive its terminal.
        if (signal != SIGHUP || former.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
    unblockSignals();
}

int received()
{
    return toEnd;
}

void wait(std::chrono::milliseconds time)
{
    const BlockedSignals blocked;
    if (!noticed)
        blocked.letIn(time);
    noticed = 0;
}

void forgetInChild()
{
    std::signal(SIGCHLD, SIG_DFL);
    for (const int signal : endingSignals)
        std::signal(signal, SIG_DFL);
    unblockSignals();
}

} // namespace nelkactl::signals
