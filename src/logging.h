// Writes to the system log, to which signal handlers write too.
#ifndef NELKANET_LOGGING_H
#define NELKANET_LOGGING_H

#include <cstdarg>

#include <syslog.h>

#include "interruption.h"

namespace nelka {

/// Calls syslog(); a signal that lands meanwhile is only recorded, because syslog()'s lock is not recursive.
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
