#include "interruption.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <system_error>

#include <nelkanet/xmlrpclient.h>

#include "endingsignals.h"
#include "failure.h"

namespace nelkactl::interruption {

namespace {

std::atomic<int> firstSignal{0};
std::atomic<bool> came{false};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

// A signal that lands between the last check and the wait that it should interrupt, in the library's call or a read(),
// would be lost, so a timer repeats it until it has been dealt with.
timer_t reminder;

void remind(long nanoseconds)
{
    const itimerspec interval = {{0, nanoseconds}, {0, nanoseconds}};
    timer_settime(reminder, 0, &interval, nullptr);
}

extern "C" void handle(int signal)
{
    const int savedErrno = errno;
    int none = 0;
    firstSignal.compare_exchange_strong(none, signal);
    if (!came.exchange(true))
        remind(100'000'000);
    nelka::XmlrpcClient::interruptRpc(SIGINT); // the only one that the library knows
    errno = savedErrno;
}

bool interruptIgnored = false;

bool isIgnored(int signal)
{
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

void install(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

} // namespace

void watch()
{
    interruptIgnored = isIgnored(SIGINT);
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = interruptIgnored ? SIGTERM : SIGINT;
    if (timer_create(CLOCK_MONOTONIC, &event, &reminder) != 0)
        throw std::system_error(errno, std::generic_category(), "timer_create");
    for (const int signal : endingSignals) {
        if (!isIgnored(signal))
            install(signal, handle);
    }
    unblockSignals();
}

int connected(nelka::XmlrpcClient& client)
{
    const BlockedSignals blocked;
    const int result = client.resetConn();
    install(SIGINT, interruptIgnored ? SIG_IGN : handle);
    return result;
}

bool seen()
{
    return came;
}

void check()
{
    if (seen())
        throw Interrupted(name());
}

void forget()
{
    remind(0);
    came = false;
}

void pause(std::chrono::milliseconds time)
{
    const BlockedSignals blocked;
    check();
    blocked.letIn(time);
    check();
}

const char* name()
{
    return firstSignal == SIGTERM ? "SIGTERM" : firstSignal == SIGHUP ? "SIGHUP" : "SIGINT";
}

void die()
{
    if (firstSignal != 0)
        dieOf(firstSignal);
}

} // namespace nelkactl::interruption
