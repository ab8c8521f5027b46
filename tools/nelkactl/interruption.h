// The signals that end a run: SIGINT, SIGTERM and SIGHUP.
#pragma once

#include <chrono>

namespace nelka {
class XmlrpcClient;
}

namespace nelkactl::interruption {

/// Takes over the signals, except those ignored at the start. A client's init() replaces the handler of SIGINT by the
/// library's, so call this first and init() only through connected().
void watch();

/// Gives a client a fresh connection without losing a signal. Returns the result of init().
int connected(nelka::XmlrpcClient& client);

/// Whether a signal has come since the start or the last forget().
bool seen();

/// Throws Interrupted if seen().
void check();

/// Lets the run go on after a signal has been dealt with.
void forget();

/// Waits; throws Interrupted as soon as a signal comes.
void pause(std::chrono::milliseconds time);

/// "SIGINT": the first signal that came.
const char* name();

/// Dies of that signal, if one came.
void die();

} // namespace nelkactl::interruption
