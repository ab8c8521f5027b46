#include "process.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

Process::Process(std::vector<std::string> command, int cpu) : name(command.at(0))
{
    int toChild[2], fromChild[2];
    if (pipe2(toChild, O_CLOEXEC) != 0 || pipe2(fromChild, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    child = fork();
    if (child < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        pinTo(cpu);
        dup2(toChild[0], STDIN_FILENO);
        dup2(fromChild[1], STDOUT_FILENO);
        std::vector<char*> arguments;
        for (std::string& argument : command)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    close(toChild[0]);
    close(fromChild[1]);
    input = toChild[1];
    output = fromChild[0];
}

Process::~Process()
{
    close(input);
    close(output);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

void Process::writeLine(const std::string& line) const
{
    const std::string whole = line + "\n";
    if (write(input, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size()))
        throw std::runtime_error(name + " takes no input");
}

std::string Process::readLine() const
{
    std::string line;
    char character = 0;
    while (read(output, &character, 1) == 1) {
        if (character == '\n')
            return line;
        line += character;
    }
    throw std::runtime_error(name + " ended");
}

void pinTo(int cpu)
{
    if (cpu < 0)
        return;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    sched_setaffinity(0, sizeof set, &set);
}

} // namespace bench
