// The signals that ask a run to end: SIGINT, SIGTERM and SIGHUP.
#pragma once

#include <chrono>

namespace nelka {
class XmlrpcClient;
}

namespace nelkactl::interruption {

/// Takes the signals over, but for those that the process was started to ignore. init() of a client installs the
/// library's handler of SIGINT in its place, so this comes first and connected() makes the calls of init().
void watch();

/// Gives a client a connection that has not been used; no signal is lost meanwhile. Returns what init() does.
int connected(nelka::XmlrpcClient& client);

/// Whether one of the signals has come since the start or the last forget().
bool seen();

/// Throws Interrupted if seen().
void check();

/// Lets the run go on: what has come has been dealt with.
void forget();

/// Waits that long; throws Interrupted as soon as it is asked to end.
void pause(std::chrono::milliseconds time);

/// "SIGINT": the first signal that came.
const char* name();

/// Ends the process by that signal, if one came.
void die();

} // namespace nelkactl::interruption
