// The standard streams.
#pragma once

#include <fcntl.h>
#include <unistd.h>

/// Keeps files and connections from getting the number of a standard stream that was closed at the start. Writing there
/// still fails.
inline void occupyStandardStreams()
{
    for (int descriptor = open("/dev/null", O_RDONLY); descriptor >= 0; descriptor = open("/dev/null", O_RDONLY)) {
        if (descriptor > STDERR_FILENO) {
            close(descriptor);
            return;
        }
    }
}

/// Discards everything written to standard output from now on.
inline void discardStandardOutput()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0)
        return;
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}
