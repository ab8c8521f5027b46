#include "interruption.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <system_error>

#include <nelkanet/xmlrpclient.h>

#include "failure.h"

namespace nelkactl::interruption {

namespace {

std::atomic<bool> interruptCame{false};
std::atomic<bool> alarmCame{false};
static_assert(std::atomic<bool>::is_always_lock_free);

// A SIGINT that lands between the last look at it and the wait that it is meant for, in the library's call or in a
// read(), would be lost: it is sent again until it has been dealt with.
timer_t reminder;

void remind(long nanoseconds)
{
    const itimerspec interval = {{0, nanoseconds}, {0, nanoseconds}};
    timer_settime(reminder, 0, &interval, nullptr);
}

extern "C" void handle(int signal)
{
    const int savedErrno = errno;
    if (signal == SIGALRM)
        alarmCame = true;
    else if (!interruptCame.exchange(true))
        remind(100'000'000);
    nelka::XmlrpcClient::interruptRpc(signal);
    errno = savedErrno;
}

void installHandlers()
{
    struct sigaction action = {};
    action.sa_handler = handle;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGALRM})
        sigaction(signal, &action, nullptr);
}

sigset_t setOf(std::initializer_list<int> signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals)
        sigaddset(&set, signal);
    return set;
}

class Blocked {
public:
    explicit Blocked(std::initializer_list<int> signals)
    {
        const sigset_t set = setOf(signals);
        pthread_sigmask(SIG_BLOCK, &set, &former);
    }
    ~Blocked() { pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;

private:
    sigset_t former;
};

} // namespace

void watch()
{
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGINT;
    if (timer_create(CLOCK_MONOTONIC, &event, &reminder) != 0)
        throw std::system_error(errno, std::generic_category(), "timer_create");
    installHandlers();
    // A program may have been started with them held back.
    const sigset_t both = setOf({SIGINT, SIGALRM});
    pthread_sigmask(SIG_UNBLOCK, &both, nullptr);
}

int initialised(nelka::XmlrpcClient& client)
{
    const Blocked held{SIGINT, SIGALRM};
    const int result = client.init();
    installHandlers();
    return result;
}

bool seen()
{
    return interruptCame;
}

bool alarmSeen()
{
    return alarmCame;
}

void check()
{
    if (seen())
        throw Interrupted();
}

void forget()
{
    remind(0);
    interruptCame = false;
    alarmCame = false;
}

void pause(std::chrono::milliseconds time)
{
    const Blocked held{SIGINT};
    check();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    timespec limit = {};
    limit.tv_sec = static_cast<time_t>(seconds.count());
    limit.tv_nsec = static_cast<long>(std::chrono::nanoseconds(time - seconds).count());
    const sigset_t interrupt = setOf({SIGINT});
    if (sigtimedwait(&interrupt, nullptr, &limit) == SIGINT)
        throw Interrupted();
}

} // namespace nelkactl::interruption
