#include "interruption.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <ctime>
#include <limits>

#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

// What cuts a call short is a flag that xmlrpc-c looks at whenever a system call of its wait returns, and a signal that
// makes it return: SIGALRM from the process's one-shot timer, or any signal that the handler takes and turns into one.
// Signals, timer and flag belong to the process, so all of this serves one call at a time.
//
// - The kernel gives a signal of the process to any thread that does not block it, at any point of that thread's code.
//   That code may hold a lock that syslog() takes: the one of syslog() itself, the one of the time zone, one of
//   malloc(). While the library is on that thread's stack, or a call runs in another, the handler therefore only
//   records the signal. The library writes the line once it is out of xmlrpc-c or of the line it was writing. Anywhere
//   else the handler writes the line at once: the lock that it may meet there is one of the application's own.
// - A handler takes no lock and waits for nothing. What it has to agree on with the calling thread, and with other
//   handlers, is one word (State), and each of its steps is one exchange of that word: a handler that is held up before
//   its step finds the state as it is by then, and decides again.
// - Only the thread that waits in a call is woken by a signal. A handler that raises the flag in another thread sends
//   it a SIGALRM, at most one per call; State says that one is on its way, so that it is not taken for an
//   alarm. A call lets SIGALRM through in its thread, since worker threads often block it, and leaves SIGINT alone.
// - After a fault the timer stays armed, and its alarm may come late, in the next call. It is told by its time: it
//   comes before that call's timer is due, and State knows that an earlier timer owes one. It gets its line and cuts
//   nothing. Any other SIGALRM cuts the call, whoever sent it.
// - A call ends once the handlers that found it running have recorded what they came with, and once the alarm that its
//   own timer has sent, if any, is among that. This is the only wait; it lasts microseconds, unless a thread that took
//   a signal gets no processor.

namespace nelka {

namespace {

using Nanoseconds = std::int64_t;
constexpr Nanoseconds millisecond = 1'000'000;
constexpr Nanoseconds never = std::numeric_limits<Nanoseconds>::max();

/// How long the end of a call waits for a handler that has begun, and for an alarm that was sent: the application may
/// have cancelled it, which nobody is told.
constexpr Nanoseconds handlerPatience = 3000 * millisecond;
constexpr Nanoseconds alarmPatience = 10 * millisecond;
/// After so long an alarm that an earlier timer owes will not come any more.
constexpr Nanoseconds owedFor = handlerPatience;

enum WakeUp : unsigned { noWakeUp, wakeUpSent, wakeUpTaken };

constexpr unsigned maxOwed = 3, maxRecording = 31, places = 128, recordCount = places / 2;

struct alignas(8) State {
    int flag;                    ///< what xmlrpc-c looks at: 0, or 1 once a signal has come
    std::uint32_t running : 1;   ///< a call runs, or the timer is being set
    std::uint32_t wakeUp : 2;    ///< of the calling thread
    std::uint32_t armed : 1;     ///< the timer has been armed, and its alarm not been handled
    std::uint32_t owed : 2;      ///< alarms of earlier timers that may still come
    std::uint32_t recording : 5; ///< handlers that found a call running and are not through
    std::uint32_t place : 7;     ///< of the next record
    std::uint32_t setting : 1;   ///< the running call has not set its timer yet
    std::uint32_t number : 13;   ///< of the call
};

State theState = {};

std::atomic_ref<State> state()
{
    static_assert(std::atomic_ref<State>::is_always_lock_free, "a handler takes no lock");
    return std::atomic_ref<State>(theState);
}

/// Changes the state in one step, and returns what it was before.
template <typename Step>
State change(Step step)
{
    State before = state().load();
    State after;
    do {
        after = before;
        step(after);
    } while (!state().compare_exchange_weak(before, after));
    return before;
}

std::atomic<void (*)(int)> handler{nullptr};
std::atomic<pid_t> callThread{0};
/// When the timer is due that was armed last.
std::atomic<Nanoseconds> due{never};
/// When the timer was due that was armed last before the running call.
std::atomic<Nanoseconds> formerDue{never};
/// Whether that one was armed still when the call began; setitimer() will tell what became of it.
std::atomic<bool> formerArmed{false};

static_assert(std::atomic<Nanoseconds>::is_always_lock_free, "a handler takes no lock");

/// How often the library is entered on this thread's stack. The model makes it readable from a signal handler.
thread_local volatile std::sig_atomic_t libraryDepth __attribute__((tls_model("initial-exec"))) = 0;

const timespec aMoment = {0, 100'000};

void waitAMoment()
{
    nanosleep(&aMoment, nullptr);
}

Nanoseconds now()
{
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<Nanoseconds>(time.tv_sec) * 1000 * millisecond + time.tv_nsec;
}

/// Waits until `condition` holds, or for as long as a handler is waited for. Returns whether it does.
template <typename Condition>
bool waitFor(Condition condition)
{
    const Nanoseconds start = now();
    bool holds = false;
    while (!(holds = condition()) && now() - start < handlerPatience)
        waitAMoment();
    return holds;
}

sigset_t only(int signal)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, signal);
    return signals;
}

auto handlerOf(int signal)
{
    struct sigaction current = {};
    sigaction(signal, nullptr, &current);
    return current.sa_handler;
}

/// Whether the signal gets here: by the handler that was set up, or by one of the application's that took its place and
/// that of the other, and calls it.
bool getsHere(int signal, int other)
{
    const auto current = handlerOf(signal);
    return current != SIG_DFL && current != SIG_IGN && (current == handler || current == handlerOf(other));
}

bool alarmsGetHere()
{
    return getsHere(SIGALRM, SIGINT);
}

// Records ------------------------------------------------------------------------------------------------------
//
// A handler gets its place with the step that raises the flag, so that the lines come in the order of the steps. When
// there is no place left, signals are only counted; the flag has long been raised by then.

using Record = std::uint32_t; // 0: none
std::array<std::atomic<Record>, recordCount> records{};
std::atomic<unsigned> firstRecord{0};
std::array<std::atomic<unsigned>, NSIG> surplus{};
std::atomic<bool> anySurplus{false};
/// The process whose thread writes records at present: a forked child has only a copy of it.
std::atomic<pid_t> writer{0};

Record recordOf(int signal, int flag)
{
    return static_cast<Record>(signal) << 2 | static_cast<Record>(flag) << 1 | 1U;
}

bool hasPlace(const State& s)
{
    return (s.place - firstRecord) % places < recordCount;
}

bool anyRecord()
{
    return state().load().place != firstRecord || anySurplus;
}

void writeLine(int signal, int flag)
{
    if (signal == SIGINT)
        syslog(LOG_NOTICE, "SIGINT signal received. interrupt %i", flag);
    else if (signal == SIGALRM)
        syslog(LOG_NOTICE, "SIGALRM signal received. interrupt %i", flag);
    else
        syslog(LOG_ERR,
               "Internal error: signal of class %u caught even though we didn't set up a handler for that class\n",
               static_cast<unsigned int>(signal));
}

bool writeNextRecord(bool waits)
{
    if (state().load().place == firstRecord)
        return false;
    // A handler in another thread may have its place and not have stored its record.
    std::atomic<Record>& next = records[firstRecord % recordCount];
    const auto stored = [&next] { return next != 0; };
    if (!(waits ? waitFor(stored) : stored()))
        return false;
    const Record record = next.exchange(0);
    writeLine(static_cast<int>(record >> 2), static_cast<int>(record >> 1 & 1U));
    firstRecord = (firstRecord + 1) % places; // not before: others wait for the line as long as there is a record
    return true;
}

void writeSurplus(unsigned lines)
{
    if (!anySurplus.exchange(false))
        return;
    for (int signal = 1; signal < NSIG; ++signal) {
        std::atomic<unsigned>& count = surplus[static_cast<std::size_t>(signal)];
        for (; count > 0 && lines > 0; --lines, --count)
            writeLine(signal, 1);
        if (count > 0)
            anySurplus = true;
    }
}

/// Whether this thread may write records now. Another one that does is waited for, so that a call's signals have their
/// lines before what the call says of them; not by a handler.
bool becomeWriter(bool waits)
{
    const auto became = [self = getpid()] {
        pid_t other = 0;
        return writer.compare_exchange_strong(other, self)
               || (other != self && writer.compare_exchange_strong(other, self));
    };
    return waits ? waitFor(became) : became();
}

/// Bounded, as signals may come faster than the log takes lines. What is left waits for the next exit from the library.
void writeRecords(bool waits)
{
    for (unsigned rounds = 0; rounds < 2 && anyRecord() && becomeWriter(waits); ++rounds) {
        // A signal that ends a write to the log twice over would lose the line.
        const BlockedSignals blocked;
        unsigned lines = recordCount;
        while (lines > 0 && writeNextRecord(waits))
            --lines;
        writeSurplus(lines);
        writer = 0;
    }
}

/// Writes no more than what has been recorded by now. While a call runs, other threads go on recording, however slow
/// the log is: to keep up with them would hold up the end of the call.
void writeRecordsSoFar()
{
    unsigned lines = (state().load().place - firstRecord) % places;
    if (lines == 0 || !becomeWriter(true))
        return;
    const BlockedSignals blocked;
    while (lines > 0 && writeNextRecord(true))
        --lines;
    writer = 0;
}

void enterLibrary()
{
    libraryDepth = libraryDepth + 1;
}

/// Writes what has been recorded, where this leaves the library for good. What lands between the last look at the
/// records and the end of the mark needs another round.
void leaveLibrary(bool waits)
{
    for (int rounds = 0; libraryDepth == 1 && rounds < 2; ++rounds) {
        writeRecords(waits);
        libraryDepth = 0;
        if (!anyRecord())
            return;
        libraryDepth = 1;
    }
    libraryDepth = libraryDepth - 1;
}

// The handler's steps ------------------------------------------------------------------------------------------

bool tookWakeUp()
{
    if (state().load().wakeUp != wakeUpSent || callThread != gettid())
        return false;
    return change([](State& s) { s.wakeUp = s.wakeUp == wakeUpSent ? wakeUpTaken : s.wakeUp; }).wakeUp == wakeUpSent;
}

void wake(std::uint32_t number)
{
    // Where it does not, another handler would take the wake-up, or nobody, which ends the process.
    if (alarmsGetHere() && tgkill(getpid(), callThread, SIGALRM) == 0)
        return;
    change([number](State& s) { s.wakeUp = s.number == number ? wakeUpTaken : s.wakeUp; });
}

void forgive(State& s)
{
    if (s.owed > 0)
        --s.owed;
}

/// Whether a SIGALRM that comes now is an alarm of before the running call.
bool isLate(const State& s)
{
    return s.running && (s.setting || s.owed > 0) && now() < due;
}

/// Counts an alarm as one of those that were to come.
void credit(State& s, bool late)
{
    const Nanoseconds time = due;
    if (s.armed && !late && (now() >= time || time == never))
        s.armed = 0;
    else
        forgive(s);
}

void writeAtOnce(int signal, int flag)
{
    enterLibrary();
    writeRecords(false); // those of before
    {
        const BlockedSignals blocked;
        writeLine(signal, flag);
    }
    leaveLibrary(false);
}

// What a call ends with ----------------------------------------------------------------------------------------

/// Waits a moment for an alarm that is pending for this thread or for the process, and handles it: another thread may
/// have been chosen for it that gets no processor.
void handlePendingAlarm()
{
    const sigset_t alarm = only(SIGALRM);
    if (sigtimedwait(&alarm, nullptr, &aMoment) == SIGALRM)
        interrupt(SIGALRM);
}

/// Waits until `settled` says so of the state, or for as long as `patience` says of it, and returns the state on which
/// it decided. An alarm that does not get here is not waited for.
template <typename Settled, typename Patience>
State await(Settled settled, Patience patience)
{
    State s = state().load();
    if (settled(s))
        return s;
    const bool alarms = alarmsGetHere();
    const Nanoseconds start = now();
    while (!settled(s) && (alarms || s.recording > 0) && now() - start < patience(s)) {
        alarms ? handlePendingAlarm() : waitAMoment();
        s = state().load();
    }
    return s;
}

bool alarmSent(const State& s)
{
    return s.armed && now() >= due;
}

Nanoseconds patienceWith(const State& s)
{
    return s.recording > 0 ? handlerPatience : alarmPatience;
}

/// What is armed becomes an earlier timer.
void retire(State& s)
{
    if (s.armed && s.owed < maxOwed)
        ++s.owed;
    s.armed = 0;
    s.setting = 1;
}

/// Changes the state with `step`, which retires the timer.
template <typename Step>
void changeRetiring(Step step)
{
    const Nanoseconds armedUntil = due.exchange(never);
    if (change(step).armed) {
        formerDue = armedUntil;
        formerArmed = true;
    }
}

/// Returns the number of the call, or of the setting of the timer, which has no thread.
std::uint32_t begin(pid_t thread)
{
    callThread = thread;
    const bool forgets = now() - formerDue > owedFor;
    std::uint32_t number = 0;
    changeRetiring([&](State& s) {
        if (thread != 0)
            s.flag = 0;
        if (forgets)
            s.owed = 0;
        retire(s);
        s.wakeUp = noWakeUp;
        s.recording = 0;
        s.running = 1;
        ++s.number;
        number = s.number;
    });
    return number;
}

void end(std::uint32_t number)
{
    const auto settled = [number](const State& s) {
        return s.number != number || (s.recording == 0 && s.wakeUp != wakeUpSent && !alarmSent(s));
    };
    State last = {};
    State after;
    do {
        // The call ends on the very state that was found settled: no handler has begun since.
        last = after = await(settled, patienceWith);
        after.running = 0;
    } while (last.number == number && !state().compare_exchange_strong(last, after));
}

} // namespace

BlockedSignals::BlockedSignals() : former()
{
    sigset_t signals = only(SIGALRM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, &former);
}

void HeldSignals::hold()
{
    sigemptyset(&held);
    if (!handler)
        return;
    if (getsHere(SIGINT, SIGALRM))
        sigaddset(&held, SIGINT);
    if (alarmsGetHere())
        sigaddset(&held, SIGALRM);
    sigset_t former;
    pthread_sigmask(SIG_BLOCK, &held, &former);
    for (const int signal : {SIGINT, SIGALRM})
        if (sigismember(&former, signal))
            sigdelset(&held, signal);
}

void HeldSignals::letThrough()
{
    pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
}

LibraryCode::LibraryCode()
{
    enterLibrary();
}

LibraryCode::~LibraryCode()
{
    leaveLibrary(true);
}

RunningCall::RunningCall() : formerMask(), number()
{
    const sigset_t alarm = only(SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarm, &formerMask);
    number = begin(gettid());
}

RunningCall::~RunningCall()
{
    end(number);
    if (sigismember(&formerMask, SIGALRM))
        pthread_sigmask(SIG_SETMASK, &formerMask, nullptr);
    writeRecords(true);
}

bool RunningCall::interrupted() const
{
    return state().load().flag != 0;
}

void writeRecordedSignals()
{
    writeRecordsSoFar();
}

int* interruptFlag()
{
    return &theState.flag;
}

void lowerInterruptFlag()
{
    change([](State& s) { s.flag = s.running ? s.flag : 0; });
}

void handleSignals(void (*function)(int))
{
    // What was owed while another handler had SIGALRM has gone there.
    if (!alarmsGetHere())
        change([](State& s) {
            s.owed = 0;
            s.armed = s.armed && now() < due;
        });
    handler = function;
    struct sigaction action = {};
    action.sa_handler = function;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGALRM, &action, nullptr);
}

void interrupt(int signal)
{
    const int savedErrno = errno;
    if (signal == SIGALRM && tookWakeUp()) {
        errno = savedErrno;
        return;
    }
    const pid_t thread = gettid();
    const bool inside = libraryDepth > 0;
    bool atOnce = false, placed = false, counted = false, wakes = false;
    const State before = change([&](State& s) {
        atOnce = !inside && !s.running;
        placed = !atOnce && hasPlace(s);
        counted = s.running && s.recording < maxRecording;
        const bool late = signal == SIGALRM && isLate(s);
        wakes = !late && s.running && s.flag == 0 && callThread != 0 && callThread != thread;

        if (signal == SIGALRM)
            credit(s, late);
        if (!late)
            s.flag = 1;
        if (wakes)
            s.wakeUp = wakeUpSent;
        if (placed)
            ++s.place;
        if (counted)
            ++s.recording;
    });
    if (atOnce) {
        writeAtOnce(signal, before.flag);
    } else if (placed) {
        records[before.place % recordCount] = recordOf(signal, before.flag);
    } else {
        ++surplus[static_cast<std::size_t>(std::clamp(signal, 0, NSIG - 1))];
        anySurplus = true;
    }
    if (wakes)
        wake(before.number);
    if (counted)
        change([&before](State& s) {
            if (s.number == before.number && s.recording > 0)
                --s.recording;
        });
    errno = savedErrno;
}

void startTimer(unsigned int milliseconds)
{
    itimerval value = {}, former = {};
    value.it_value.tv_sec = milliseconds / 1000;
    value.it_value.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);

    // Outside a call this takes the time of one: an alarm that comes meanwhile is recorded, whichever thread takes it.
    const bool alone = !state().load().running;
    const std::uint32_t number = alone ? begin(0) : 0;
    changeRetiring(retire);
    if (milliseconds != 0) {
        due = now() + milliseconds * millisecond;
        change([](State& s) { s.armed = 1; });
    }
    setitimer(ITIMER_REAL, &value, &former);
    change([](State& s) { s.setting = 0; });
    if (formerArmed.exchange(false)) {
        const bool sentAlarm = !timerisset(&former.it_value) && now() >= formerDue;
        if (!sentAlarm)
            change(forgive);
        else if (milliseconds == 0)
            await([](const State& s) { return s.owed == 0; }, patienceWith);
    }
    if (alone)
        end(number);
}

} // namespace nelka
