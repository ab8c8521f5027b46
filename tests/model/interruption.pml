/* The signals, the timer and the flag of a call (src/interruption.cpp), as a model that spin(1) checks exhaustively.
 * `run` beside it lists the expected results and checks all scenarios.
 *
 * It has two halves: what cuts a call, and when; and with LINES, who logs signals, and when, with the timer reduced to
 * its alarm.
 *
 *   Caller    a thread that makes calls: RemoteCall in src/xmlrpclient.cpp, and within a call the wait of xmlrpc-c:
 *             all signals blocked, a look at the flag, pselect() with the former mask, a look at the flag
 *   Handler   interrupt(), once for each thread and signal: it interrupts the body of its thread, or the handler of the
 *             other signal, between any two steps
 *   Other     a thread of the application inside the library: a log line, Run(), init()
 *   Timer     the clock and ITIMER_REAL, which expires at any time after it is due
 *   Sender    SIGINTs, and SIGALRMs from elsewhere, at any moment
 *
 * A signal of the process is pending once, a second one merges with it, and it goes to any thread that does not block
 * it, at any time; one of a thread is taken before that thread goes on. A step is one access to something shared, or
 * one system call, and is named after the function that does it; whatever takes time may take any. `timeout` holds when
 * nothing else can move: only then does pselect() end without a signal or an answer, or a wait give up.
 *
 * Left out: malloc() and the time zone, whose locks are like that of syslog(); fork(); handlers with which the
 * application replaces ours; callers that do not take turns; more signals than records; the microsecond between a
 * tgkill() and the interrupt of a thread that runs. Every step is sequentially consistent, as those of the code are.
 *
 * The claims, of which one is checked at a time:
 *   1  a call whose time is due, or whose flag is raised, does not go on waiting
 *   2  no alarm of an earlier timer cuts a call, and no signal that came before it
 *   3  no handler waits for a lock while the library is on the stack that it interrupts
 *   4  the signals of a call, and the alarm that it has sent, have their lines before what the call says of them
 *   5  no wake-up is lost, or taken for an alarm
 *   6  no wait is for something that will not come
 *   7  each signal that is handled has one line, in the order in which they were recorded
 *   8  a SIGINT that is handled after the flag was lowered cuts that call
 *   9  no alarm comes after set_timer(0)
 *  10  no line that is written immediately overtakes a record
 */
c_decl { \#include <stdlib.h> }
c_code { static int parameter(const char* name) { const char* text = getenv(name); return text ? atoi(text) : 0; } };
#define P(name) name = parameter(#name);
/* The scenario, from the environment; the default is 0. */
hidden byte claim, calls, others;  /* threads beside thread 0 */
hidden byte second;                /* which thread makes the second call */
hidden byte holds;                 /* blocked between calls: 1: SIGALRM, 2: SIGINT, 4: in the others for good */
hidden byte mute, timeless;        /* the slave: 1: never answers, 2: always does, 0: either; calls have no time-out */
hidden byte sigints, foreign;      /* how many are sent: of the latter, SIGALRMs from elsewhere */
hidden byte stops, arms;           /* set_timer(0) after each call that fails; set_timer(n) so often before each call */
hidden byte enters, inits;         /* how often each other thread enters the library, or lowers the flag by init() */
hidden byte bounded;               /* a drain ends after two rounds, as it does in the code */
hidden byte giveup;                /* a wait may end at any moment: 1: for a handler, 2: for an alarm, 3: either */
/* Removed parts of the library, which `run` explains. */
hidden byte nowake, nottold, twosteps, norecording, noalarm, blindend, noowed, nosetting, noforgive, nostopwait;
hidden byte nodepth, nodrain, noinside, nowriter, takefirst, nohole, lastdrain, nolower, lowerblind, nounblock;
#define CLAIM(n, x) assert(claim != n || (x))

#define MAX 3
#define NOBODY 255
#define ALRM 0
#define INT 1
#define AT(t, s) ((t) * 2 + (s))
#define CALLER(t) ((t) == 0 || (t) == second)

#define TIMER 1            /* where a SIGALRM comes from */
#define ELSEWHERE 2
#define WAKE 4
/* The kernel. */
byte frame[MAX];           /* what runs of a thread: 0, its body, or 1 + the signal whose handler it is */
byte shared[2], pending[MAX]; /* signals of the process, and SIGALRMs of a thread: where they come from */
bool blocked[MAX * 2], waiting[MAX]; /* in pselect(), after which all is blocked; a handler ends it */
bool taking[MAX];          /* in sigtimedwait(), which takes a SIGALRM that is blocked, too */
byte timer;                /* the setting that runs, 0: none */
byte passed;               /* the settings whose time has come, a bit each */
/* The library. */
bool flag, running, armed, setting;
byte owed, recording, wakeUp, callThread = NOBODY;
byte due;                  /* the setting of the timer, 0: never */
#define NONE 0
#define SENT 1
#define TAKEN 2
byte stale;                /* handlers of SIGALRM whose next exchange fails, a bit a thread */
#define CHANGED stale = 255
#define DUE(n) ((n) != 0 && (passed >> (n)) & 1)
/* What only claims look at, and turns. */
bool busy, open;           /* a call; from the lowering of the flag to the last look at it */
bool mayCut, mustCut;      /* a signal other than an alarm of ours, and a SIGINT, was handled since */
bool alarmOut;             /* an alarm of the library's timer is on its way to its step */
byte settings, callDue;    /* of the timer, so far; that of the running call */
byte begun, ended, swapped, taken; /* calls; bodies; what was taken for a wake-up; signals */

/* A thread goes on once it has taken what was sent to it alone; an only thread, whatever was sent. */
#define RUNS (frame[t] == self && (!pending[t] || blocked[AT(t, ALRM)]) && \
    (others > 0 || !(shared[ALRM] && !blocked[AT(t, ALRM)] || shared[INT] && !blocked[AT(t, INT)])))
#define STEP(x) atomic { RUNS -> x }
#define WHEN(c, x) atomic { RUNS && (c) -> x }
#define SAY(what) printf(what, t)
#define COMES(s) ((!blocked[AT(t, s)] || s == ALRM && taking[t]) && (shared[s] || s == ALRM && pending[t]))
#define HOLD STEP(heldA = blocked[AT(t, ALRM)]; heldI = blocked[AT(t, INT)]; \
    blocked[AT(t, ALRM)] = true; blocked[AT(t, INT)] = true)
#define RELEASED blocked[AT(t, ALRM)] = heldA; blocked[AT(t, INT)] = heldI
#define RELEASE STEP(RELEASED; heldA = false; heldI = false)
/* pthread_sigmask() returns after the handlers of what it has let through. */
#define SETTLE WHEN(!COMES(ALRM) && !COMES(INT), skip)
#ifdef LINES
byte depth[MAX];           /* libraryDepth */
byte place, first, stored; /* of the next record, and of the next line; the records that are there, a bit each */
bool writer;
byte lock = NOBODY;        /* of syslog(): the thread that holds it */
byte written, inOrder, endPlace;
#define READY ((stored >> first) & 1)
#define DONE (first == place || first == limit)
/* syslog(), at the end of which the line is there. */
inline writeLine(ofSignal, ofRecord) {
    if
    :: WHEN(lock == NOBODY, lock = t)
    :: WHEN(lock == t, SAY("thread %d: waits for the lock that it holds\n"); CLAIM(3, false); false)
    fi;
    STEP(lock = NOBODY;
        if :: ofSignal -> written++; SAY("thread %d: has written a signal's line\n") :: else fi;
        if :: ofRecord -> CLAIM(7, inOrder == mine); inOrder++; first = first + !takefirst :: else fi)
}

inline writeRecords(waits) {
    do
    :: WHEN(round == 2 || DONE || writer && !(waits) && !nowriter, round = 0; break)
    :: WHEN(round < 2 && !DONE && (!writer || nowriter), writer = true; round = round + bounded); /* becomeWriter() */
        HOLD;
        do
        :: WHEN(!DONE && READY, mine = first; stored = stored & ~(1 << first); first = first + takefirst);
            writeLine(true, true)                 /* writeNextRecord() */
        :: WHEN(DONE || !READY && (!(waits) || nohole), writer = false; mine = 0; break)
        od;
        RELEASE
    od
}
#define enter() STEP(depth[t] = !nodepth)
inline leave(waits) {                             /* leaveLibrary() */
    do
    :: writeRecords(waits);
        STEP(depth[t] = 0; rounds = rounds + bounded);
        STEP(if :: first == place || rounds == 2 -> rounds = 0; break :: else -> depth[t] = !nodepth fi)
    od
}
#endif

#define wake() STEP(CLAIM(5, !pending[callThread]); pending[callThread] = WAKE; SAY("thread %d: wake()\n"))
proctype Handler(byte t; byte s) {
    byte self = s + 1;
    byte below, from, mine, round, rounds, dueThen, limit = 255;
    bool maskA, maskI, heldA, heldI, passedThen, late, atOnce, counted, wakes;
end:
    do
    :: atomic {
            COMES(s) ->
            if
            :: s == ALRM && pending[t] -> from = pending[t]; pending[t] = 0
            :: else -> from = shared[s]; shared[s] = 0
            fi;
            taken = taken + (from != WAKE);
            below = frame[t]; frame[t] = self;
            maskA = blocked[AT(t, ALRM)] || waiting[t]; maskI = blocked[AT(t, INT)] || waiting[t];
            waiting[t] = false; blocked[AT(t, s)] = true;
            printf("thread %d: takes signal %d from %d\n", t, s, from) }
        if
        :: s == ALRM ->
            STEP(if                               /* tookWakeUp() */
                :: wakeUp == SENT && callThread == t && !nottold ->
                    wakeUp = TAKEN; CHANGED; swapped = from & ~WAKE; SAY("thread %d: tookWakeUp()\n"); goto back
                :: else
                fi);
again:      STEP(dueThen = due; passedThen = DUE(due); stale = stale & ~(1 << t))
        :: s == INT
        fi;
        STEP(                                     /* the one step of interrupt() */
            if :: s == ALRM && (stale >> t) & 1 -> goto again :: else fi;
            if :: from == WAKE -> CLAIM(5, swapped != 0); from = swapped; swapped = 0 :: else fi;
            counted = running;
            late = s == ALRM && running && (setting && !nosetting || owed > 0) && !passedThen;
            wakes = !late && running && !flag && callThread != NOBODY && callThread != t;
            if                                    /* credit() */
            :: s == ALRM && armed && !late && (passedThen || dueThen == 0) -> armed = false
            :: s == ALRM && !(armed && !late && (passedThen || dueThen == 0)) -> owed = owed - (owed > 0)
            :: s == INT
            fi;
            flag = flag || !late && !twosteps;
            wakeUp = (wakes -> SENT : wakeUp);
            recording = recording + counted;
#ifdef LINES
            atOnce = depth[t] == 0 && !running;
            mine = place;
            place = place + !atOnce;
#endif
            CHANGED;
            alarmOut = alarmOut && !(s == ALRM && from & TIMER);
            mayCut = mayCut || open && (s == INT || from & ELSEWHERE);
            mustCut = mustCut || open && s == INT;
            from = 0; dueThen = 0; passedThen = false;
            printf("thread %d: interrupt(): late %d, at once %d, wakes %d\n", t, late, atOnce, wakes));
        if :: twosteps -> STEP(flag = flag || !late) :: !twosteps fi;
#ifdef LINES
        if
        :: atOnce ->                              /* writeAtOnce() */
            enter();
            if :: lastdrain :: !lastdrain -> writeRecords(false) fi;
            HOLD;
            STEP(CLAIM(10, inOrder >= mine));
            writeLine(true, false);
            RELEASE;
            leave(false)
        :: !atOnce -> STEP(stored = stored | 1 << mine)
        fi;
#endif
        if :: !wakes || nowake :: wakes && !nowake -> wake() fi;
        if :: counted -> STEP(recording = recording - (recording > 0); CHANGED) :: !counted fi;
back:   STEP(blocked[AT(t, ALRM)] = maskA; blocked[AT(t, INT)] = maskI; frame[t] = below;
            maskA = false; maskI = false; below = 0; from = 0; mine = 0;
            late = false; atOnce = false; counted = false; wakes = false)
    od
}

/* await(): until it is so, with a SIGALRM taken meanwhile; `x` in the step that finds it so. */
#define AWAIT(c, mayGiveUp, x) \
    STEP(taking[t] = true); \
    if \
    :: WHEN(c, taking[t] = false; x) \
    :: WHEN(!(c) && (mayGiveUp), taking[t] = false; SAY("thread %d: gives up\n"); x) \
    :: atomic { timeout && RUNS && !(c) -> CLAIM(6, false); taking[t] = false; x } \
    fi
#define SETTLED ((recording == 0 && wakeUp != SENT || norecording) && !(armed && DUE(due) && !noalarm))
#define CHANGERETIRING(x) \
    STEP(armedUntil = due; due = 0); \
    STEP(formerDue = (armed -> armedUntil : formerDue); formerArmed = formerArmed || armed; \
        owed = owed + (armed && !noowed); armed = false; armedUntil = 0; x; CHANGED)

inline begin(thread) {
    STEP(callThread = thread);
    CHANGERETIRING(
        CLAIM(5, wakeUp != SENT && (thread == NOBODY || !pending[t]));
        if
        :: thread == NOBODY
        :: else -> flag = flag && nolower; open = true; mayCut = false; mustCut = false; callDue = 0; swapped = 0
        fi;
        setting = true; wakeUp = NONE; recording = 0; running = true)
}

inline finish() {                                 /* end() */
    STEP(sent = armed && DUE(due) && timer == 0);
    AWAIT(SETTLED, giveup & 1 && recording > 0 || giveup & 2 && recording == 0, running = blindend; CHANGED);
    if :: blindend -> STEP(running = false; CHANGED) :: !blindend fi;
    STEP(CLAIM(4, !sent || !armed); sent = false)
}

inline startTimer(on) {
    CHANGERETIRING(setting = true);
    if
    :: on -> STEP(settings++; due = settings; callDue = (open -> settings : callDue)); STEP(armed = true; CHANGED)
    :: !(on)
    fi;
    STEP(former = timer != 0; timer = ((on) -> due : 0);
        alarmOut = alarmOut && !former; printf("thread %d: setitimer(%d)\n", t, timer));
    STEP(setting = false; CHANGED);
    STEP(gone = formerArmed && !noforgive && (former || !DUE(formerDue));
        expected = formerArmed && !noforgive && !gone;
        formerArmed = false; former = false; formerDue = 0; passed = passed & (1 << due | 1 << callDue));
    if
    :: gone -> STEP(gone = false; owed = owed - (owed > 0); CHANGED)
    :: !gone && expected && !(on) && !nostopwait -> AWAIT(owed == 0, giveup & 2, expected = false)
    :: !gone && !(expected && !(on) && !nostopwait) -> expected = false
    fi;
    if :: on :: !(on) -> STEP(CLAIM(9, !alarmOut)) fi
}

#ifdef LINES
proctype Caller(byte t) {
    byte self, mine, round, rounds, armedUntil, formerDue, limit = 255;
    bool heldA, heldI, former, formerArmed, gone, expected, sent, cutShort;
    do
    :: WHEN(!busy && begun < calls && (begun == 1 -> second : 0) == t, busy = true; begun++; SAY("thread %d: calls\n"));
        enter();
        begin(t);                                 /* RemoteCall::send(), of whose set_timer() this is all: */
        STEP(settings++; due = settings; armed = true; setting = false; timer = settings; CHANGED);
        STEP(limit = place); writeRecords(true);  /* writeRecordsSoFar(), after a call of any length */
        STEP(limit = 255; cutShort = flag; open = false); /* RemoteCall::takeReply() */
        finish();                                 /* ~RunningCall() */
        STEP(endPlace = place);
        if :: nodrain :: !nodrain -> writeRecords(true) fi;
        STEP(CLAIM(4, inOrder >= endPlace));      /* reportInterruption() or reportFault() */
        writeLine(false, false);
        if :: stops && noinside -> leave(true) :: else fi;
        if :: stops -> begin(NOBODY); STEP(timer = 0; setting = false; owed = 0; CHANGED); finish() :: !stops fi;
        if :: stops && noinside :: else -> leave(true) fi;
        STEP(busy = false; cutShort = false)
    :: WHEN(!busy && begun == calls, break)
    od;
    ended++
}
#else
/* xmlrpc_client_call2f(), as far as it waits. */
inline transport() {
    do
    ::  HOLD;
        STEP(if :: flag :: else -> RELEASED; waiting[t] = true fi);
        if
        :: WHEN(!waiting[t], skip)
        :: WHEN(waiting[t] && answers, waiting[t] = false; ready = true)
        :: atomic { timeout && RUNS && waiting[t] ->
                SAY("thread %d: sleeps on, as nothing else moves\n");
                CLAIM(1, callDue == 0 && !flag && !mustCut); waiting[t] = false; answers = true; ready = true }
        fi;
        RELEASE; SETTLE;
        STEP(if :: ready || flag -> break :: else fi)
    od
}

proctype Caller(byte t) {
    byte self, armedUntil, formerDue, n;
    bool heldA, heldI, wasBlocked, former, formerArmed, gone, expected, sent, answers, ready, cutShort;
    do
    :: WHEN(!busy && begun < calls && (begun == 1 -> second : 0) == t,
            busy = true; begun++; n = arms; SAY("thread %d: calls\n");
            if :: mute != 1 -> answers = true :: mute != 2 -> answers = false fi);
        do
        :: n > 0 -> begin(NOBODY); startTimer(true); finish(); n--
        :: n == 0 -> break
        od;
        /* RunningCall() */
        STEP(wasBlocked = blocked[AT(t, ALRM)]; blocked[AT(t, ALRM)] = wasBlocked && nounblock); SETTLE;
        begin(t);
        startTimer(!timeless);                    /* RemoteCall::send() */
        transport();
        STEP(CLAIM(2, !flag || mayCut || DUE(callDue)); CLAIM(8, flag || !mustCut); /* RemoteCall::takeReply() */
            cutShort = flag; open = false; callDue = 0);
        if
        :: !cutShort -> startTimer(false)
        :: true -> cutShort = true                /* cut, or a fault */
        fi;
        finish();                                 /* ~RunningCall() */
        STEP(blocked[AT(t, ALRM)] = wasBlocked);
        if :: cutShort -> STEP(flag = flag && running) :: !cutShort fi; /* reportInterruption() */
        if :: stops && cutShort -> begin(NOBODY); startTimer(false); finish() :: else fi;
        STEP(busy = false; answers = false; ready = false; cutShort = false; wasBlocked = false)
    :: WHEN(!busy && begun == calls, break)
    od;
    ended++
}
#endif

proctype Other(byte t) {
    byte self, mine, round, rounds, limit = 255, n = enters, i = inits;
    bool heldA, heldI;
    do
#ifdef LINES
    :: n > 0 -> n--; enter(); writeLine(false, false); leave(true)
#endif
    :: n == 0 && i > 0 -> i--; STEP(flag = flag && running && !lowerblind) /* lowerInterruptFlag() */
    :: n == 0 && i == 0 -> break
    od;
    ended++
}
proctype Timer() {
end:
    do
    :: atomic { due != 0 && !DUE(due) -> passed = passed | 1 << due; printf("setting %d of the timer is due\n", due) }
    :: atomic { timer != 0 && timer != due && !DUE(timer) -> passed = passed | 1 << timer }
    :: atomic { DUE(timer) ->
            printf("the timer expires\n"); shared[ALRM] = shared[ALRM] | TIMER; alarmOut = true; timer = 0 }
    od
}
proctype Sender() {
    byte n, m;
end:
    do
    :: atomic { n < sigints -> n++; printf("SIGINT\n"); shared[INT] = 1 }
    :: atomic { m < foreign -> m++; printf("SIGALRM from elsewhere\n"); shared[ALRM] = shared[ALRM] | ELSEWHERE }
    od
}

init {
    byte t;
    atomic {
        c_code {
            P(claim) P(calls) P(others) P(second) P(holds) P(mute) P(timeless) P(sigints) P(foreign) P(stops)
            P(arms) P(enters) P(inits) P(bounded) P(giveup) P(nowake) P(nottold) P(twosteps) P(norecording)
            P(noalarm) P(blindend) P(noowed) P(nosetting) P(noforgive) P(nostopwait) P(nodepth) P(nodrain)
            P(noinside) P(nowriter) P(takefirst) P(nohole) P(lastdrain) P(nolower) P(lowerblind) P(nounblock)
        };
        do
        :: t <= others ->
            blocked[AT(t, ALRM)] = holds & 1 && (holds & 4 || CALLER(t));
            blocked[AT(t, INT)] = holds & 2 && (holds & 4 || CALLER(t));
            run Handler(t, ALRM); run Handler(t, INT);
            if :: CALLER(t) -> run Caller(t) :: else -> run Other(t) fi;
            t++
        :: else -> break
        od;
        t = 0; run Timer(); run Sender()
    }
#ifdef LINES
    atomic { timeout && ended == others + 1 -> CLAIM(7, written == taken && inOrder == place) }
#endif
}
