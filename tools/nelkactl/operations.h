// Every operation: its name, what it takes, what it does.
#pragma once

#include <string>
#include <vector>

#include "call.h"
#include "options.h"
#include "parameters.h"

namespace nelkactl {

/// What a call does to the slave.
enum class Effect {
    reads,
    changes,
    deletesIfAsked ///< its argument BORRAR tells
};

struct Operation {
    std::string name;
    std::vector<Parameter> arguments;
    std::vector<Parameter> options; ///< but for those of every operation
    std::string outputs;            ///< their names
    std::string gist;               ///< half a line
    std::string more;               ///< lines that --help adds, if any
    void (*run)(Call&);
    Effect effect = Effect::reads;
};

struct Family {
    std::string name;
    std::vector<Operation> operations;
};

const std::vector<Family>& families();

std::vector<const Operation*> operations();

/// Throws UsageError for an unknown name, which says what may have been meant.
const Operation& operationNamed(const std::string& name);

/// Runs it, and says how it ended also where the reply lacks a text. Throws FileError, Interrupted.
Ending carryOut(const Operation& operation, Call& call);

/// Whether a call with these arguments changes the slave.
bool changesSlave(const Operation& operation, const Given& given);

/// The options and the arguments, once they are those of the operation and in their ranges. Throws UsageError.
Given givenTo(const Operation& operation, const Options& options);

} // namespace nelkactl
