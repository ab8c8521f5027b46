#include "program.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "checked.h"
#include "stopwatch.h"

namespace support {

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> all;
    for (std::string& text : texts)
        all.push_back(text.data());
    all.push_back(nullptr);
    return all;
}

// Given variables replace inherited ones.
std::vector<std::string> withOwnEnvironment(std::vector<std::string> entries)
{
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('=') + 1);
        bool replaced = false;
        for (const std::string& other : entries)
            replaced = replaced || other.starts_with(name);
        if (!replaced)
            entries.push_back(text);
    }
    return entries;
}

std::string lineOf(int descriptor)
{
    std::string text;
    // One character at a time, so that finish() reads the rest.
    for (char character; read(descriptor, &character, 1) == 1 && character != '\n';)
        text += character;
    return text;
}

} // namespace

std::string Finished::lastWords() const
{
    if (err.empty())
        return "";
    const std::string text = err.substr(0, err.size() - (err.back() == '\n'));
    return text.substr(text.rfind('\n') + 1);
}

std::ostream& operator<<(std::ostream& out, const Finished& finished)
{
    return out << "status " << finished.status << "\nout: " << finished.out << "\nerr: " << finished.err;
}

Program::Program(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                 const std::optional<std::string>& input)
{
    int inEnds[2], outEnds[2], errEnds[2];
    for (int* const ends : {inEnds, outEnds, errEnds})
        checked(pipe2(ends, O_CLOEXEC), "pipe2");

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, inEnds[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, outEnds[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errEnds[1], STDERR_FILENO);

    // Signals ignored on entry would stay ignored in the program.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t every;
    sigfillset(&every);
    posix_spawnattr_setsigdefault(&attributes, &every);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    std::vector<std::string> words = command;
    std::vector<std::string> entries = withOwnEnvironment(environment);
    const int error = posix_spawn(&child, command.front().c_str(), &actions, &attributes, pointers(words).data(),
                                  pointers(entries).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(inEnds[0]);
    close(outEnds[1]);
    close(errEnds[1]);
    in = inEnds[1];
    out = outEnds[0];
    err = errEnds[0];
    if (error != 0)
        throw std::system_error(error, std::generic_category(), command.front());
    if (input) {
        // Output that fills a pipe belongs in a file.
        if (write(in, input->data(), input->size()) != static_cast<ssize_t>(input->size()))
            throw std::system_error(errno, std::generic_category(), "write");
        close(in);
        in = -1;
    }
}

Program::~Program()
{
    for (const int descriptor : {in, out, err})
        if (descriptor >= 0)
            close(descriptor);
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

void Program::signal(int number) const
{
    kill(child, number);
}

std::string Program::line() const
{
    return lineOf(out);
}

std::string Program::errorLine() const
{
    return lineOf(err);
}

Finished Program::finish()
{
    Finished finished;
    std::array<std::pair<pollfd, std::string*>, 2> streams{
        {{{out, POLLIN, 0}, &finished.out}, {{err, POLLIN, 0}, &finished.err}}};
    const Stopwatch watch;
    for (int open = 2; open > 0;) {
        std::array<pollfd, 2> watched{streams[0].first, streams[1].first};
        poll(watched.data(), watched.size(), 1000);
        for (std::size_t i = 0; i < streams.size(); ++i) {
            if (!watched[i].revents)
                continue;
            char buffer[65536];
            const ssize_t got = read(watched[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                streams[i].second->append(buffer, static_cast<std::size_t>(got));
            } else if (got == 0) {
                streams[i].first.fd = -1;
                --open;
            }
        }
        if (watch.elapsed() > std::chrono::seconds(60))
            throw std::runtime_error("the program does not end");
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    child = -1;
    finished.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return finished;
}

Finished run(const std::vector<std::string>& command, const std::vector<std::string>& environment,
             const std::optional<std::string>& input)
{
    return Program(command, environment, input).finish();
}

} // namespace support
