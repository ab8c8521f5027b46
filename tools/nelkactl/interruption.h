// SIGINT and SIGALRM beside the library, which does not tell one from the other.
#pragma once

#include <chrono>

namespace nelka {
class XmlrpcClient;
}

namespace nelkactl::interruption {

/// Takes over both signals. init() of a client installs the library's handlers in their place, so this comes first
/// and initialised() makes the calls of init().
void watch();

/// client.init(), during which no signal is lost. Returns its result.
int initialised(nelka::XmlrpcClient& client);

/// Whether a SIGINT, or the alarm of a time-out, has come since the start or the last forget().
bool seen();
bool alarmSeen();

/// Throws Interrupted if seen().
void check();

/// Begins anew: what has come has been dealt with.
void forget();

/// Waits that long; throws Interrupted as soon as a SIGINT comes.
void pause(std::chrono::milliseconds time);

} // namespace nelkactl::interruption
