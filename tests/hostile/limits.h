// Limits for a process that reads a document.
#pragma once

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

#include <sys/types.h>

namespace hostile {

// AddressSanitizer is slow and retains released memory.
#ifdef __SANITIZE_ADDRESS__
inline constexpr int sanitized = 16;
#else
inline constexpr int sanitized = 1;
#endif

/// Peak memory in kB, beyond that of an ordinary call.
inline constexpr long memory = sanitized * 64 * 1024;

// An emulator is slow too.
inline bool emulated()
{
    return std::getenv("NELKANET_SLOW") != nullptr;
}

/// Whether a harmless megabyte takes seconds to read.
inline bool slow()
{
    return sanitized > 1 || emulated();
}

inline std::chrono::milliseconds allowing(int milliseconds, int underEmulation)
{
    return std::chrono::milliseconds(emulated() ? underEmulation : milliseconds);
}

/// How late a call may end.
inline std::chrono::milliseconds lateness()
{
    return sanitized * allowing(100, 1000);
}

/// Processor time. A harmless megabyte takes a third of it.
inline std::chrono::milliseconds processing()
{
    return sanitized * allowing(500, 20'000);
}

/// Time until a server answers the next request: it waits 2 seconds for a silent peer, and only once.
inline std::chrono::milliseconds patience()
{
    return sanitized * allowing(3500, 20'000);
}

/// The processor time of a process, by default this one.
inline std::chrono::microseconds processorTime(pid_t process = 0)
{
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(process, &clock) == 0)
        clock_gettime(clock, &time);
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::seconds(time.tv_sec)
                                                                 + std::chrono::nanoseconds(time.tv_nsec));
}

/// Describes in words how a process exceeded a limit; empty if it did not.
inline std::string excess(std::chrono::microseconds processor, long grown)
{
    if (processor > processing())
        return "burnt " + std::to_string(processor.count() / 1000) + " ms";
    if (grown > memory)
        return "grew by " + std::to_string(grown / 1024) + " MB";
    return "";
}

} // namespace hostile
