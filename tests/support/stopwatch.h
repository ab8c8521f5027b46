// Measures time, and how late something may be.
#pragma once

#include <chrono>
#include <cstdlib>

namespace support {

/// The time since its construction or the last restart.
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

/// How late a call may end. NELKANET_SLOW announces a tool or an emulator that slows everything down: then nothing is
/// too late.
inline std::chrono::milliseconds lateness()
{
    return std::getenv("NELKANET_SLOW") ? std::chrono::hours(1) : std::chrono::milliseconds(250);
}

} // namespace support
