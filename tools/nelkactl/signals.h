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

/// In a child: signals do what they do by default, also those that came while they were blocked.
void forgetInChild();

} // namespace nelkactl::signals
