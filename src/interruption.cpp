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

// Two things cut a call short: a flag that xmlrpc-c checks whenever a system call of its wait returns, and a signal
// that makes it return: a SIGALRM, from the process's one-shot timer or from the handler of any signal. Signals, timer
// and flag belong to the process, so only one call may run at a time.
//
// - The kernel gives a signal of the process to any thread that does not block it, at any point of that thread's code.
//   That code may hold a lock that syslog() takes: its own, that of the time zone, or one of malloc(). While the
//   library is on that thread's stack, or a call runs in another, the handler therefore only records the signal; the
//   library logs it once it has left xmlrpc-c or written its own line. Elsewhere the handler logs immediately: there
//   only the application can hold such a lock.
// - A handler takes no lock and waits for nothing. It shares one word (State) with the calling thread and other
//   handlers, and each of its steps is one exchange of that word: if the exchange fails, it reads the new state and
//   decides again.
// - A signal wakes only the thread in which it lands. A handler that raises the flag in another thread therefore sends
//   the calling thread a SIGALRM, at most one per call; State records it, so that it is not taken for an alarm. A call
//   unblocks SIGALRM in its thread, because worker threads often block it, and leaves SIGINT alone.
// - After a fault the timer stays armed, and its alarm may come late, in the next call. Its time reveals it: it comes
//   before that call's timer is due, while State records an alarm owed by an earlier timer. It is logged and cuts
//   nothing. Any other SIGALRM cuts the call, whoever sent it.
// - A call ends once the handlers that found it running have recorded their signals, including the alarm of its own
//   timer, if it was sent. This is the only wait; it lasts microseconds, unless a thread that took a signal is starved.

namespace nelka {

namespace {

using Nanoseconds = std::int64_t;
constexpr Nanoseconds millisecond = 1'000'000;
constexpr Nanoseconds never = std::numeric_limits<Nanoseconds>::max();

/// How long the end of a call waits for a handler that has begun, and for an alarm that was sent, which the application
/// may have cancelled unnoticed.
constexpr Nanoseconds handlerPatience = 3000 * millisecond;
constexpr Nanoseconds alarmPatience = 10 * millisecond;
/// After this time, an alarm owed by an earlier timer will not come any more.
constexpr Nanoseconds owedFor = handlerPatience;

enum WakeUp : unsigned { noWakeUp, wakeUpSent, wakeUpTaken };

constexpr unsigned maxOwed = 3, maxRecording = 31, places = 128, recordCount = places / 2;

struct alignas(8) State {
    int flag;                    ///< checked by xmlrpc-c: 0, or 1 once a signal has come
    std::uint32_t running : 1;   ///< a call runs, or the timer is being set
    std::uint32_t wakeUp : 2;    ///< of the calling thread
    std::uint32_t armed : 1;     ///< the timer has been armed, and its alarm not handled yet
    std::uint32_t owed : 2;      ///< alarms of earlier timers that may still come
    std::uint32_t recording : 5; ///< handlers that found a call running and have not finished
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
/// When the last armed timer is due.
std::atomic<Nanoseconds> due{never};
/// When the last timer armed before the running call was due.
std::atomic<Nanoseconds> formerDue{never};
/// Whether that one was still armed when the call began; setitimer() tells what became of it.
std::atomic<bool> formerArmed{false};

static_assert(std::atomic<Nanoseconds>::is_always_lock_free, "a handler takes no lock");

/// How often the library is entered on this thread's stack. Its TLS model makes it readable from a signal handler.
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

/// Whether the signal reaches interrupt(): through our handler, or through one of the application that replaced ours
/// for both signals and calls it.
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
// A handler gets its place in the step that raises the flag, so that the lines follow the order of the steps. When no
// place is left, signals are only counted; by then the flag is raised.

using Record = std::uint32_t; // 0: none
std::array<std::atomic<Record>, recordCount> records{};
std::atomic<unsigned> firstRecord{0};
std::array<std::atomic<unsigned>, NSIG> surplus{};
std::atomic<bool> anySurplus{false};
/// The process whose thread is writing records: a forked child has only a copy of it.
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
    // A handler in another thread may have its place but not have stored its record yet.
    std::atomic<Record>& next = records[firstRecord % recordCount];
    if (waits)
        waitFor([&next] { return next != 0; });
    const Record record = next.exchange(0);
    if (record != 0) {
        writeLine(static_cast<int>(record >> 2), static_cast<int>(record >> 1 & 1U));
        firstRecord = (firstRecord + 1) % places; // only now: others wait for the line while there is a record
    }
    return record != 0;
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

/// Whether this thread may write records now. Except in a handler, waits for a thread that writes them, so that a
/// call's signals are logged before the call's own lines.
bool becomeWriter(bool waits)
{
    const auto became = [self = getpid()] {
        pid_t other = 0;
        return writer.compare_exchange_strong(other, self)
               || (other != self && writer.compare_exchange_strong(other, self));
    };
    return waits ? waitFor(became) : became();
}

/// Bounded, because signals may come faster than the log accepts lines. What is left waits for the next exit from the
/// library.
void writeRecords(bool waits)
{
    for (unsigned rounds = 0; rounds < 2 && anyRecord() && becomeWriter(waits); ++rounds) {
        // syslog() drops a line if signals interrupt its write twice.
        const BlockedSignals blocked;
        unsigned lines = recordCount;
        while (lines > 0 && writeNextRecord(waits))
            --lines;
        writeSurplus(lines);
        writer = 0;
    }
}

/// Writes only what has been recorded so far. While a call runs, other threads go on recording, however slow the log
/// is: keeping up with them would delay the end of the call.
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

/// Writes the records when this thread leaves the library. A signal that lands after the last look at the records and
/// before the depth is 0 needs another round.
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
    // If alarms do not get here, another handler would take this one, or the default action kill the process.
    if (alarmsGetHere() && tgkill(getpid(), callThread, SIGALRM) == 0)
        return;
    change([number](State& s) { s.wakeUp = s.number == number ? wakeUpTaken : s.wakeUp; });
}

void forgive(State& s)
{
    if (s.owed > 0)
        --s.owed;
}

/// Whether a SIGALRM that comes now is an alarm from before the running call.
bool isLate(const State& s)
{
    return s.running && (s.setting || s.owed > 0) && now() < due;
}

/// Counts an alarm as one of those expected.
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
    writeRecords(false); // earlier ones
    {
        const BlockedSignals blocked;
        writeLine(signal, flag);
    }
    leaveLibrary(false);
}

// The end of a call --------------------------------------------------------------------------------------------

/// Waits briefly for an alarm pending for this thread or the process, and handles it: the kernel may have chosen
/// another thread that is starved.
void handlePendingAlarm()
{
    const sigset_t alarm = only(SIGALRM);
    if (sigtimedwait(&alarm, nullptr, &aMoment) == SIGALRM)
        interrupt(SIGALRM);
}

/// Waits until the state is `settled`, or for as long as `patience` allows it, and returns that state. Does not wait
/// for an alarm that does not reach interrupt().
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

/// The armed timer becomes an earlier one.
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

/// Returns the number of the call, or of a setting of the timer, which has no thread.
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
        // The call ends in exactly the state that was found settled: no handler has begun since.
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
    // Alarms owed while another handler had SIGALRM have gone there.
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

    // Outside a call this counts as one: an alarm that comes meanwhile is recorded, in any thread.
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
