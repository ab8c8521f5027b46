// Runs the programs shown in the documentation as a reader would.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/ports.h"
#include "support/simulatedslave.h"

namespace support {

/// Starts `program` with a free port as its argument and waits until it reports that it listens. Tries several ports,
/// because one may be taken before the start.
inline std::unique_ptr<Program> listening(const std::string& program, unsigned short& port)
{
    for (int tries = 0; tries < 10; ++tries) {
        port = freePort();
        auto started = std::make_unique<Program>(builtCommand(program, {std::to_string(port)}));
        if (started->line() == "listening")
            return started;
    }
    throw std::runtime_error(program + " does not listen");
}

} // namespace support
