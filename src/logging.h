// Writing to the system log where signal handlers write to it too.
#ifndef NELKANET_LOGGING_H
#define NELKANET_LOGGING_H

#include <cstdarg>

#include <syslog.h>

#include "interruption.h"

namespace nelka {

/// syslog(), during which a signal is recorded only: the C library's lock around syslog() is not recursive.
__attribute__((format(printf, 2, 3))) inline void logLine(int priority, const char* format, ...)
{
    const LibraryCode inside;
    va_list values;
    va_start(values, format);
    vsyslog(priority, format, values);
    va_end(values);
    writeRecordedSignals();
}

} // namespace nelka

#endif
