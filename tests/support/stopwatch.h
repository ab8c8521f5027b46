// How long something takes, and how much longer it may.
#pragma once

#include <chrono>
#include <cstdlib>

namespace support {

/// Time since its construction, or the last restart.
class Stopwatch {
public:
    void restart() { start = Clock::now(); }

    std::chrono::microseconds elapsed() const
    {
        return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start = Clock::now();
};

/// How late a call may end. A tool or an emulator under which everything is late is announced with NELKANET_SLOW:
/// nothing is said of lateness then.
inline std::chrono::milliseconds lateness()
{
    return std::getenv("NELKANET_SLOW") ? std::chrono::hours(1) : std::chrono::milliseconds(250);
}

} // namespace support
