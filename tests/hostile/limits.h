// What a document may cost the process that reads it.
#pragma once

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

#include <sys/types.h>

namespace hostile {

// AddressSanitizer is slow and keeps what was released.
#ifdef __SANITIZE_ADDRESS__
inline constexpr int sanitized = 16;
#else
inline constexpr int sanitized = 1;
#endif

/// At the peak, in kB, beyond what an ordinary call takes.
inline constexpr long memory = sanitized * 64 * 1024;

// An emulator is slow, too.
inline bool emulated()
{
    return std::getenv("NELKANET_SLOW") != nullptr;
}

/// Whether a megabyte that is harmless takes seconds to read.
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

/// Of the processor's time. A megabyte of what is harmless takes a third of it.
inline std::chrono::milliseconds processing()
{
    return sanitized * allowing(500, 20'000);
}

/// Until a server answers the next request; it takes 2 seconds to lose patience with a silent one.
inline std::chrono::milliseconds patience()
{
    return sanitized * allowing(2500, 20'000);
}

/// The processor's time that a process has taken, this one unless another is named.
inline std::chrono::microseconds processorTime(pid_t process = 0)
{
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(process, &clock) == 0)
        clock_gettime(clock, &time);
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::seconds(time.tv_sec)
                                                                 + std::chrono::nanoseconds(time.tv_nsec));
}

/// What a process has done, in words, if that is too much.
inline std::string excess(std::chrono::microseconds processor, long grown)
{
    if (processor > processing())
        return "burnt " + std::to_string(processor.count() / 1000) + " ms";
    if (grown > memory)
        return "grew by " + std::to_string(grown / 1024) + " MB";
    return "";
}

} // namespace hostile
