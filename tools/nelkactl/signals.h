// The signals of a run that waits for other processes: one has ended, or it must end itself.
#pragma once

#include <chrono>

namespace nelkactl::signals {

/// Watches SIGINT, SIGTERM and SIGHUP; a second signal of a kind kills the program.
void watch();

/// The first that came, or 0.
int received();

/// Waits, but no longer than until a signal comes or a child ends; one since the last wait() counts.
void wait(std::chrono::milliseconds time);

/// In a child: restores the default actions and unblocks the signals; those that came meanwhile then take effect.
void forgetInChild();

} // namespace nelkactl::signals
