// What a document may cost the process that reads it.
#pragma once

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>

#include <sys/types.h>

namespace hostile {

/// At the peak, in kB, beyond what an ordinary call takes. AddressSanitizer keeps what was released.
#ifdef __SANITIZE_ADDRESS__
inline constexpr long memory = 1024 * 1024;
#else
inline constexpr long memory = 64 * 1024;
#endif

// An emulator is slow to parse what is harmless, too.
inline std::chrono::milliseconds allowing(int milliseconds, int emulated)
{
    return std::chrono::milliseconds(std::getenv("NELKANET_SLOW") ? emulated : milliseconds);
}

/// How late a call may end.
inline std::chrono::milliseconds lateness()
{
    return allowing(100, 1000);
}

/// Of the processor's time. A megabyte of what is harmless takes a third of it.
inline std::chrono::milliseconds processing()
{
    return allowing(500, 20'000);
}

/// Until a server answers the next request; it takes 2 seconds to lose patience with a silent one.
inline std::chrono::milliseconds patience()
{
    return allowing(2500, 20'000);
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
