// What becomes of the calls of a procedure: told in a file, or recorded from a real module.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "messages.h"

namespace nelkaslave {

/// An answer of HTTP that is no answer of XML-RPC.
struct HttpAnswer {
    int status = 0;
    std::string type;
    std::string body;
};

/// What becomes of a call: at most one of status, answer and http.
struct Behaviour {
    std::chrono::milliseconds delay{0};
    std::optional<int> status; ///< in place of the simulation's
    std::optional<Answer> answer;
    std::optional<HttpAnswer> http;
    bool unanswered = false; ///< the real module did not answer; with no answer to give in its place, there is silence
};

/// A line of a recording.
struct Recorded {
    std::size_t line = 0;
    std::string time;
    Call call;
    bool anyParams = false;
    Behaviour behaviour;
};

/// A request that is no call of XML-RPC, as a call without a name.
Call strangeCall(const std::string& request);

/// What a caller gets where the real module did not answer, and where a recording has no answer.
Answer noAnswer(int code, const std::string& reason);
Answer afterSilence();

/// The behaviours of all procedures, in the order in which they are used.
class Script {
public:
    enum class Ends {
        withTheLast, ///< which stays
        never,       ///< round and round
        once         ///< each is used once
    };

    explicit Script(Ends how = Ends::withTheLast) : ends(how) {}

    /// Behaviours without parameters are those of any; where nothing stays, those with parameters also serve calls that
    /// have none of their own. False if an earlier one was the last of its sequence. After the last, nothing is said.
    bool add(const Call& call, bool anyParams, Behaviour behaviour, bool last = false);

    /// What becomes of this call; null if nothing was said.
    const Behaviour* next(const Call& call);

    bool mentions(const std::string& procedure) const { return sequences.contains(procedure); }

private:
    struct Step {
        Behaviour behaviour;
        bool used = false;
    };

    struct Sequence {
        std::vector<std::size_t> steps; ///< indices
        std::size_t position = 0;
        bool ended = false;
    };

    struct Sequences {
        Sequence ofAny;
        std::map<Json, Sequence> ofParams;
    };

    const Behaviour* next(Sequence& sequence);

    Ends ends;
    std::vector<Step> steps;
    std::map<std::string, Sequences> sequences;
};

/// Behaviours for the simulated slave, from a file of one object or of lines. Throws MalformedFile, also for a
/// procedure that there is not, and std::system_error for a file that cannot be read.
Script readBehaviours(const std::string& file);

/// A recording. A last line that was cut off is left out, with a warning on standard error. Throws as
/// readBehaviours() does, but knows every procedure.
std::vector<Recorded> readRecording(const std::string& file);

/// A line of a recording, with its end.
std::string lineOf(const Recorded& recorded);

} // namespace nelkaslave
