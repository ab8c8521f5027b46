// What cuts a call short: the interrupt flag, the process's timer, and the signals that raise the flag.
#ifndef NELKANET_INTERRUPTION_H
#define NELKANET_INTERRUPTION_H

#include <csignal>
#include <cstdint>

namespace nelka {

/// Blocks SIGINT and SIGALRM in the calling thread during its lifetime.
class BlockedSignals {
public:
    BlockedSignals();
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t former;
};

/// Blocks SIGINT and SIGALRM in this thread, each if it is unblocked and reaches interrupt(): they would end waits
/// outside the library. A signal that the application handles itself is left alone.
class HeldSignals {
public:
    HeldSignals() { hold(); }
    ~HeldSignals() { letThrough(); }
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    void hold();
    void letThrough();

private:
    sigset_t held;
};

/// During its lifetime a signal that lands in this thread is only recorded and logged afterwards, because the
/// interrupted code may hold a lock that syslog() takes. Every entry into the library holds one; they nest.
class LibraryCode {
public:
    LibraryCode();
    ~LibraryCode();
    LibraryCode(const LibraryCode&) = delete;
    LibraryCode& operator=(const LibraryCode&) = delete;
};

/// Marks the duration of a call. It begins with the flag lowered; signals raise it and wake this thread, wherever they
/// land.
class RunningCall {
public:
    RunningCall();
    ~RunningCall();
    RunningCall(const RunningCall&) = delete;
    RunningCall& operator=(const RunningCall&) = delete;

    bool interrupted() const;

private:
    sigset_t formerMask;
    std::uint32_t number;
};

/// The flag itself, for xmlrpc-c to watch.
int* interruptFlag();

/// Lowers the flag, unless a call runs that it may have to cut.
void lowerInterruptFlag();

/// Installs `handler`, which must call interrupt(), for SIGINT and SIGALRM.
void handleSignals(void (*handler)(int));

/// The body of the signal handler. Async-signal-safe, except that it logs if the library is not on this thread's stack
/// and no call runs.
void interrupt(int signal);

/// Arms the process's one-shot timer, or disarms it with 0. No alarm follows a disarming.
void startTimer(unsigned int milliseconds);

/// Logs the recorded signals.
void writeRecordedSignals();

} // namespace nelka

#endif
