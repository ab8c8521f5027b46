// The standard streams.
#pragma once

#include <fcntl.h>
#include <unistd.h>

/// Keeps files and connections from taking the number of a stream that was closed when the program was started. Writing
/// there fails as it did.
inline void occupyStandardStreams()
{
    for (int descriptor = open("/dev/null", O_RDONLY); descriptor >= 0; descriptor = open("/dev/null", O_RDONLY)) {
        if (descriptor > STDERR_FILENO) {
            close(descriptor);
            return;
        }
    }
}

/// From here on nothing written to standard output goes anywhere.
inline void discardStandardOutput()
{
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0)
        return;
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
}
