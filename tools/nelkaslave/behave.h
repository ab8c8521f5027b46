// How calls of a procedure are answered: as a file says, or as a real module did.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "messages.h"

namespace nelkaslave {

/// An HTTP answer that is not XML-RPC.
struct HttpAnswer {
    int status = 0;
    std::string type;
    std::string body;
};

/// How a call is answered: at most one of status, answer and http.
struct Behaviour {
    std::chrono::milliseconds delay{0};
    std::optional<int> status; ///< instead of the simulation's
    std::optional<Answer> answer;
    std::optional<HttpAnswer> http;
    bool unanswered = false; ///< the real module did not answer; without another answer, stay silent
};

/// A line of a recording.
struct Recorded {
    std::size_t line = 0;
    std::string time;
    Call call;
    bool anyParams = false;
    Behaviour behaviour;
};

/// A request that is not an XML-RPC call, as a call without a name.
Call strangeCall(const std::string& request);

/// What a caller gets if the real module does not answer, or a recording has no answer.
Answer noAnswer(int code, const std::string& reason);
Answer afterSilence();

/// The behaviours of all procedures, in the order of their use.
class Script {
public:
    enum class Ends {
        withTheLast, ///< which is repeated
        never,       ///< starts over
        once         ///< each is used once
    };

    explicit Script(Ends how = Ends::withTheLast) : ends(how) {}

    /// A behaviour without parameters matches any call. Unless the last is repeated, one with parameters also serves
    /// calls whose own parameters have no behaviour. False if an earlier one ended its sequence.
    bool add(const Call& call, bool anyParams, Behaviour behaviour, bool last = false);

    /// How to answer this call; null to simulate it.
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

/// Behaviours for the simulated slave, from a file of one object or of lines. Throws MalformedFile, even for an unknown
/// procedure, and std::system_error for a file that cannot be read.
Script readBehaviours(const std::string& file);

/// A recording. An incomplete last line is skipped, with a warning on standard error. Throws as readBehaviours() does,
/// but accepts any procedure.
std::vector<Recorded> readRecording(const std::string& file);

/// A line of a recording, with its line end.
std::string lineOf(const Recorded& recorded);

} // namespace nelkaslave
