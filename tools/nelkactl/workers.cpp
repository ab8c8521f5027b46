#include "workers.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "endingsignals.h"
#include "failure.h"
#include "signals.h"

namespace nelkactl {

Spool::Spool() : stream(std::tmpfile())
{
    if (!stream)
        throw FileError(std::string("cannot make a temporary file: ") + std::strerror(errno));
    fcntl(fileno(stream), F_SETFD, FD_CLOEXEC);
}

Spool::~Spool()
{
    if (stream)
        std::fclose(stream);
}

Spool::Spool(Spool&& other) noexcept : stream(std::exchange(other.stream, nullptr)) {}

Spool& Spool::operator=(Spool&& other) noexcept
{
    std::swap(stream, other.stream);
    return *this;
}

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> all;
    all.reserve(texts.size() + 1);
    for (std::string& text : texts)
        all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

// In the child. It dies with its parent, and Ctrl-C reaches only the parent, which passes it on once.
[[noreturn]] void become(std::vector<std::string>& words, int output, pid_t parent)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    signals::forgetInChild();
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (getppid() == parent && dup2(nothing, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0)
        execv("/proc/self/exe", pointers(words).data());
    _exit(127);
}

} // namespace

Workers::~Workers()
{
    signal(SIGKILL);
    while (running() > 0)
        if (waitpid(runs.begin()->first, nullptr, 0) >= 0 || errno != EINTR)
            runs.erase(runs.begin());
}

bool Workers::start(std::size_t job, std::vector<std::string> words)
{
    Run run{job, std::chrono::system_clock::now(), std::chrono::steady_clock::now(), Spool()};
    const pid_t parent = getpid();
    const BlockedSignals blocked; // until the child has reset its handlers
    const pid_t child = fork();
    if (child == 0)
        become(words, fileno(run.output.file()), parent);
    if (child < 0 && runs.empty())
        throw std::system_error(errno, std::generic_category(), "cannot start a process");
    if (child < 0)
        return false;
    runs.emplace(child, std::move(run));
    return true;
}

std::optional<Workers::Ended> Workers::ended()
{
    int status = 0;
    pid_t child;
    while ((child = waitpid(-1, &status, WNOHANG)) > 0) {
        const auto found = runs.find(child);
        if (found == runs.end())
            continue; // a child inherited through exec()
        Run& run = found->second;
        const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - run.start;
        Ended one{run.job, run.asked, time.count(), status, std::move(run.output)};
        runs.erase(found);
        return one;
    }
    return {};
}

void Workers::signal(int number) const
{
    for (const auto& run : runs)
        kill(run.first, number);
}

} // namespace nelkactl
