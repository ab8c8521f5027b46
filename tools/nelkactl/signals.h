// What a run that only waits for other processes has to notice: that one of them ended, or that it shall end itself.
#pragma once

#include <chrono>

namespace nelkactl::signals {

/// From here on SIGINT, SIGTERM and SIGHUP are noticed; a second one of a kind ends the program as if nobody watched.
void watch();

/// The first of them that came, 0 while none has.
int received();

/// Waits that long, or until one of them comes or a child ends. One that came since the last wait() counts.
void wait(std::chrono::milliseconds time);

/// Holds all signals back, until the object goes or a child that was forked meanwhile lets go of them.
class Held {
public:
    Held();
    ~Held();
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
};

/// In a child: signals do what they do by default, also those that came while they were held back.
void forgetInChild();

/// Ends the program as the signal does that nobody catches.
[[noreturn]] void dieOf(int signal);

} // namespace nelkactl::signals
