// Loaded into the simulated slave.
#include <csignal>
#include <cstdlib>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

/// Sends it the signal that RAISE names at the last moment before it waits for a connection, when it has looked for one
/// already.
INTERPOSED int poll(pollfd* descriptors, nfds_t count, int timeout)
{
    if (timeout < 0)
        if (const char* signal = std::getenv("RAISE"))
            raise(std::atoi(signal));
    const timespec limit = {timeout / 1000, timeout % 1000 * 1000000L};
    return ppoll(descriptors, count, timeout < 0 ? nullptr : &limit, nullptr);
}

// Kills it when it wants something on the disk for the time that KILL_AT_SYNC names, the first being 1.
static void killAtSync()
{
    static int times = 0;
    if (const char* last = std::getenv("KILL_AT_SYNC"); last && ++times == std::atoi(last))
        raise(SIGKILL);
}

INTERPOSED int fsync(int file)
{
    killAtSync();
    return static_cast<int>(syscall(SYS_fsync, file));
}

INTERPOSED int fdatasync(int file)
{
    killAtSync();
    return static_cast<int>(syscall(SYS_fdatasync, file));
}
