// Loaded into the simulated slave: sends it the signal that RAISE names at the last moment before it waits for a
// connection, when it has looked for one already.
#include <csignal>
#include <cstdlib>

#include <poll.h>

extern "C" __attribute__((visibility("default"))) int poll(pollfd* descriptors, nfds_t count, int timeout)
{
    if (timeout < 0)
        if (const char* signal = std::getenv("RAISE"))
            raise(std::atoi(signal));
    const timespec limit = {timeout / 1000, timeout % 1000 * 1000000L};
    return ppoll(descriptors, count, timeout < 0 ? nullptr : &limit, nullptr);
}
