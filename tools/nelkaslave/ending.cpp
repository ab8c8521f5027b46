#include "ending.h"

#include <csignal>
#include <initializer_list>

#include <sys/time.h>

namespace nelkaslave {

namespace {

volatile std::sig_atomic_t asked = 0;

// A wait would miss a signal that lands between the check of the flag and the wait. So the signal starts a timer that
// keeps interrupting waits until the process has ended.
void ask(int)
{
    asked = 1;
    const itimerval clock = {{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &clock, nullptr);
}

void interruptWait(int) {}

void handle(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

} // namespace

void endOnSignals()
{
    handle(SIGALRM, interruptWait);
    handle(SIGTERM, ask);
    handle(SIGINT, ask);
    struct sigaction inherited;
    sigaction(SIGHUP, nullptr, &inherited);
    if (inherited.sa_handler != SIG_IGN)
        handle(SIGHUP, ask);

    // The parent may have blocked them.
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGALRM, SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

bool ending()
{
    return asked != 0;
}

} // namespace nelkaslave
