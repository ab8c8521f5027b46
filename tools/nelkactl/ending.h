// How a run ends: a word for scripts, an exit status, a reason.
#pragma once

#include <string>

namespace nelkactl {

/// The numbers are the exit statuses, but for a run that is interrupted: it dies of its signal, and a shell makes this
/// number of a SIGINT.
enum class Kind { done = 0, refused = 1, unusable = 2, faulted = 3, timedOut = 4, interrupted = 130 };

/// "timed out", as it stands in a result line.
const char* nameOf(Kind kind);

struct Ending {
    Kind kind = Kind::done;
    int fault = 0;      ///< the client's fault state, or the code that says why a reply was unusable
    std::string reason; ///< one line in words; of a run that is done only where something is to be known

    int exitStatus() const { return static_cast<int>(kind); }
};

} // namespace nelkactl
