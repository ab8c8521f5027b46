// repeat CALLER EXCHANGE PORT COUNT [masked]: makes that many calls, for tools that watch a process. Where
// libcountallocations is preloaded it also prints what the last call allocated. "masked" keeps all log lines back.
// repeat callers: prints their names.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <dlfcn.h>
#include <syslog.h>

#include "callers.h"
#include "countallocations.h"

namespace {

template <typename Function>
Function* preloaded(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc < 5) {
        for (const std::string& name : bench::callerNames())
            std::puts(name.c_str());
        return 0;
    }
    if (argc > 5)
        setlogmask(LOG_MASK(LOG_EMERG));
    const auto caller = bench::makeCaller(argv[1], bench::exchangeNamed(argv[2]),
                                          static_cast<unsigned short>(std::strtoul(argv[3], nullptr, 10)));
    caller->calls(std::strtoul(argv[4], nullptr, 10) - 1);

    const auto start = preloaded<decltype(allocationsStart)>("allocationsStart");
    const auto stop = preloaded<decltype(allocationsStop)>("allocationsStop");
    if (start)
        start();
    caller->call();
    if (stop) {
        const Allocations allocations = stop();
        std::printf("{\"allocations\": %ld, \"peak\": %ld}\n", allocations.count, allocations.peak);
    }
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
