// nelkaslave as a recorder between a slave and its callers, who must not notice it. The environment variable
// NELKANET_RECORDER names its command, to run whole test programs through it.
#pragma once

#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "folder.h"
#include "program.h"

namespace support {

class Recorder {
public:
    /// Null unless the environment names one.
    static std::unique_ptr<Recorder> before(unsigned short slave)
    {
        const char* const command = std::getenv("NELKANET_RECORDER");
        return command && *command ? std::make_unique<Recorder>(command, slave) : nullptr;
    }

    Recorder(const std::string& command, unsigned short slave) : program(words(command, slave, folder.path / "calls"))
    {
        const std::string line = program.line();
        const std::string before = "listening on ";
        if (!line.starts_with(before))
            throw std::runtime_error("the recorder does not listen: " + line);
        listeningPort = static_cast<unsigned short>(std::stoi(line.substr(before.size())));
    }

    unsigned short port() const { return listeningPort; }

private:
    static std::vector<std::string> words(const std::string& command, unsigned short slave, const std::string& file)
    {
        // Its lines would fill a pipe that nobody reads.
        std::vector<std::string> all{"/bin/sh", "-c", "exec \"$@\" 2>/dev/null", "sh"};
        std::istringstream text(command + " --port 0 --forward 127.0.0.1:" + std::to_string(slave) + " --record "
                                + file);
        for (std::string word; text >> word;)
            all.push_back(word);
        return all;
    }

    TemporaryFolder folder;
    Program program;
    unsigned short listeningPort = 0;
};

} // namespace support
