// Standard streams that were closed when the program was started.
#pragma once

#include <fcntl.h>
#include <unistd.h>

/// Keeps files and connections from taking the number of such a stream. Writing there fails as it did.
inline void occupyStandardStreams()
{
    for (int descriptor = open("/dev/null", O_RDONLY); descriptor >= 0; descriptor = open("/dev/null", O_RDONLY)) {
        if (descriptor > STDERR_FILENO) {
            close(descriptor);
            return;
        }
    }
}
