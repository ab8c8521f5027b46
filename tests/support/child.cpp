#include "child.h"

#include <cerrno>
#include <csignal>
#include <thread>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "checked.h"
#include "stopwatch.h"

namespace support {

namespace {

// An exception of `body` must not reach the parent's tests.
[[noreturn]] void live(const std::function<void()>& body, pid_t parent) noexcept
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == parent)
        body();
    _exit(0);
}

} // namespace

Child::Child(const std::function<void()>& body)
{
    const pid_t parent = getpid();
    child = checked(fork(), "fork");
    if (child == 0)
        live(body, parent);
}

Child::~Child()
{
    if (child < 0)
        return;
    kill(child, SIGKILL);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

int Child::end(std::chrono::seconds patience)
{
    const Stopwatch watch;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (watch.elapsed() > patience)
            kill(child, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    child = -1;
    return status;
}

} // namespace support
