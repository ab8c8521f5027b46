// What cuts a call short: the interrupt flag, the process's timer, and the signals that raise the one for the other.
#ifndef NELKANET_INTERRUPTION_H
#define NELKANET_INTERRUPTION_H

#include <csignal>
#include <cstdint>

namespace nelka {

/// The calling thread holds both signals back for its life.
class BlockedSignals {
public:
    BlockedSignals();
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &former, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

private:
    sigset_t former;
};

/// Holds back from this thread the signals that come to interrupt() and that it lets through otherwise: a wait that is
/// not the library's own would end with them. What the application handles itself goes on as it was.
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

/// For its life, a signal that lands in this thread is recorded, and its line written afterwards: what it interrupts
/// may hold a lock that syslog() takes. Every entry into the library holds one; they nest.
class LibraryCode {
public:
    LibraryCode();
    ~LibraryCode();
    LibraryCode(const LibraryCode&) = delete;
    LibraryCode& operator=(const LibraryCode&) = delete;
};

/// The time of one call. It begins with the flag lowered; signals raise it and wake this thread, wherever they land.
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

/// Takes SIGINT and SIGALRM over for `handler`, which is to call interrupt().
void handleSignals(void (*handler)(int));

/// What the signal handler does; async-signal-safe but for the line that it writes where neither the library is on
/// this thread's stack nor a call runs.
void interrupt(int signal);

/// Arms the process's one-shot timer, or disarms it with 0. No alarm of it is to come once it has been disarmed.
void startTimer(unsigned int milliseconds);

/// Writes the lines of the signals that were only recorded.
void writeRecordedSignals();

} // namespace nelka

#endif
