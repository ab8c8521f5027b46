// Runs nelkaslave as a user does. The build defines NELKASLAVE, and EMULATOR if it needs one.
#pragma once

#include <csignal>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "folder.h"
#include "program.h"

namespace support {

/// The command for a program of the build, through the emulator if needed.
inline std::vector<std::string> builtCommand(const std::string& program, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words;
    std::istringstream emulator(EMULATOR);
    for (std::string word; emulator >> word;)
        words.push_back(word);
    words.push_back(program);
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

/// The command for nelkaslave with options.
inline std::vector<std::string> slaveCommand(const std::vector<std::string>& options)
{
    return builtCommand(NELKASLAVE, options);
}

/// A slave that listens on a free port. `starter` is a prefix of its command.
class SimulatedSlave : public Program {
public:
    explicit SimulatedSlave(std::vector<std::string> options = {}, const std::vector<std::string>& environment = {},
                            std::vector<std::string> starter = {})
        : Program(onFreePort(std::move(options), std::move(starter)), environment)
    {
        const std::string announced = line();
        const std::string before = "listening on ";
        if (!announced.starts_with(before))
            throw std::runtime_error("the slave does not listen: " + announced + finish().err);
        listeningPort = static_cast<unsigned short>(std::stoi(announced.substr(before.size())));
    }

    unsigned short port() const { return listeningPort; }

    /// Ends it with a signal and returns the exit status, or minus the signal.
    int end(int number)
    {
        signal(number);
        return finish().status;
    }

private:
    static std::vector<std::string> onFreePort(std::vector<std::string> options, std::vector<std::string> command)
    {
        options.insert(options.end(), {"--port", "0"});
        const std::vector<std::string> words = slaveCommand(options);
        command.insert(command.end(), words.begin(), words.end());
        return command;
    }

    unsigned short listeningPort = 0;
};

/// Creates the sample state in a folder that is missing or empty.
inline void makeState(const std::filesystem::path& folder)
{
    SimulatedSlave({"--state", folder}).end(SIGTERM);
}

} // namespace support
