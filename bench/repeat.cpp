// repeat CALLER SENT RECEIVED PORT COUNT [masked|ready]: makes COUNT calls, for tools that watch a process, and
// prints the nanoseconds of one as JSON. SENT and RECEIVED are the sizes of the blocks; at least one is 0. "masked"
// suppresses all log lines; "ready" makes callers instead of calls. With libcountallocations preloaded, also prints the
// allocations of the last call.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <dlfcn.h>
#include <syslog.h>
#include <time.h>

#include "callers.h"
#include "countallocations.h"

namespace {

template <typename Function>
Function* preloaded(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
}

double nanoseconds(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc < 6)
        return 2;
    const bench::Exchange exchange{std::strtoul(argv[2], nullptr, 10), std::strtoul(argv[3], nullptr, 10)};
    const auto port = static_cast<unsigned short>(std::strtoul(argv[4], nullptr, 10));
    const unsigned long count = std::strtoul(argv[5], nullptr, 10);
    const std::string mode = argc > 6 ? argv[6] : "";
    if (!mode.empty())
        setlogmask(LOG_MASK(LOG_EMERG));
    const auto caller = bench::makeCaller(argv[1], exchange, port);
    caller->call();

    const double wall = nanoseconds(CLOCK_MONOTONIC);
    const double processor = nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
    for (unsigned long i = 0; i < count; ++i) {
        if (mode == "ready")
            bench::makeCaller(argv[1], exchange, port);
        else
            caller->call();
    }
    const auto calls = static_cast<double>(count);
    std::printf("{\"processor\": %.0f, \"wall\": %.0f", (nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - processor) / calls,
                (nanoseconds(CLOCK_MONOTONIC) - wall) / calls);

    if (const auto start = preloaded<decltype(allocationsStart)>("allocationsStart")) {
        start();
        caller->call();
        const Allocations allocations = preloaded<decltype(allocationsStop)>("allocationsStop")();
        std::printf(", \"allocations\": %ld, \"peak\": %ld", allocations.count, allocations.peak);
    }
    std::puts("}");
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
