// How a run ends: a word for scripts, an exit status, a reason.
#pragma once

#include <string>

namespace nelkactl {

/// The numbers are the exit statuses, except `interrupted`: such a run dies of its signal, which a shell reports as
/// this number for a SIGINT.
enum class Kind { done = 0, refused = 1, unusable = 2, faulted = 3, timedOut = 4, interrupted = 130 };

/// "timed out", as in a result line.
const char* nameOf(Kind kind);

struct Ending {
    Kind kind = Kind::done;
    int fault = 0;      ///< the client's fault state, or the code of a failed decoding
    std::string reason; ///< one line in words; for a run that is done, a note or empty

    int exitStatus() const { return static_cast<int>(kind); }
};

} // namespace nelkactl
