// Preloaded into the tools.
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#define INTERPOSED extern "C" __attribute__((visibility("default")))

/// Sends it the signal RAISE at the last moment before it waits for a connection, after its check for signals.
INTERPOSED int poll(pollfd* descriptors, nfds_t count, int timeout)
{
    if (timeout < 0)
        if (const char* signal = std::getenv("RAISE"))
            raise(std::atoi(signal));
    const timespec limit = {timeout / 1000, timeout % 1000 * 1000000L};
    return ppoll(descriptors, count, timeout < 0 ? nullptr : &limit, nullptr);
}

// Kills it at its sync number KILL_AT_SYNC, counted from 1.
static void killAtSync()
{
    static int times = 0;
    if (const char* last = std::getenv("KILL_AT_SYNC"); last && ++times == std::atoi(last))
        raise(SIGKILL);
}

// Whether a sync fails as if a signal came: every other one does if INTERRUPT_SYNCS is set.
static bool interrupted()
{
    static bool last = false;
    last = std::getenv("INTERRUPT_SYNCS") && !last;
    errno = EINTR;
    return last;
}

// Appends a character to the file SYNCS for each sync: j while the file JOURNAL exists, otherwise -.
static void noteSync()
{
    const char* const notes = std::getenv("SYNCS");
    if (!notes)
        return;
    const int file = open(notes, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const char* const journal = std::getenv("JOURNAL");
    if (write(file, access(journal, F_OK) == 0 ? "j" : "-", 1) != 1)
        std::abort();
    close(file);
}

/// Hides /proc if NO_PROC is set. The C++ library opens folders by either function.
INTERPOSED int openat(int folder, const char* name, int flags, ...)
{
    if (std::getenv("NO_PROC") && std::string_view(name).starts_with("/proc/")) {
        errno = ENOENT;
        return -1;
    }
    va_list rest;
    va_start(rest, flags);
    const unsigned int mode = flags & (O_CREAT | O_TMPFILE) ? va_arg(rest, unsigned int) : 0;
    va_end(rest);
    return static_cast<int>(syscall(SYS_openat, folder, name, flags, mode));
}
INTERPOSED int openat64(int, const char*, int, ...) __attribute__((alias("openat")));
INTERPOSED DIR* opendir(const char* name)
{
    const int folder = openat(AT_FDCWD, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return folder < 0 ? nullptr : fdopendir(folder);
}

INTERPOSED int fsync(int file)
{
    if (interrupted())
        return -1;
    noteSync();
    killAtSync();
    return static_cast<int>(syscall(SYS_fsync, file));
}

// Cannot reserve space: because the disk is full if FULL_DISK is set, otherwise as on a simple file system.
static int reserve()
{
    errno = std::getenv("FULL_DISK") ? ENOSPC : EOPNOTSUPP;
    return -1;
}
INTERPOSED int fallocate(int, int, off_t, off_t)
{
    return reserve();
}
INTERPOSED int fallocate64(int, int, off64_t, off64_t)
{
    return reserve();
}

INTERPOSED int fdatasync(int file)
{
    if (interrupted())
        return -1;
    noteSync();
    killAtSync();
    return static_cast<int>(syscall(SYS_fdatasync, file));
}
