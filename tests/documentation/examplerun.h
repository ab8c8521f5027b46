// Programs that the documentation shows, as a reader would run them.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/ports.h"
#include "support/simulatedslave.h"

namespace support {

/// Starts `program` with a free port as its argument and waits until it says that it listens. A port may be taken
/// between the choice and the start, so more than one is tried.
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
