// Writing to the system log where signal handlers write to it too.
#ifndef NELKANET_LOGGING_H
#define NELKANET_LOGGING_H

#include <csignal>
#include <cstdarg>

#include <syslog.h>

namespace nelka {

/// The signals that cut a call short, and whose handler logs.
inline sigset_t callSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGALRM);
    sigaddset(&signals, SIGINT);
    return signals;
}

/// For its life, the calling thread holds those signals back (SIG_BLOCK) or lets them through (SIG_UNBLOCK).
class SignalMask {
public:
    explicit SignalMask(int how)
    {
        const sigset_t signals = callSignals();
        pthread_sigmask(how, &signals, &former);
    }
    ~SignalMask() { pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    SignalMask(const SignalMask&) = delete;
    SignalMask& operator=(const SignalMask&) = delete;

private:
    sigset_t former;
};

/// syslog() with those signals held back. The C library's lock around syslog() is not recursive: a handler that logs
/// while it interrupts a syslog() of the same thread would wait for itself for ever.
__attribute__((format(printf, 2, 3))) inline void logLine(int priority, const char* format, ...)
{
    const SignalMask held(SIG_BLOCK);
    va_list values;
    va_start(values, format);
    vsyslog(priority, format, values);
    va_end(values);
}

} // namespace nelka

#endif
