// Every operation: its name, its parameters, its action.
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
    deletesIfAsked ///< depends on the argument BORRAR
};

struct Operation {
    std::string name;
    std::vector<Parameter> arguments;
    std::vector<Parameter> options; ///< in addition to those of every operation
    std::string outputs;            ///< their names
    std::string gist;               ///< half a line
    std::string more;               ///< further lines of --help, if any
    void (*run)(Call&);
    Effect effect = Effect::reads;
};

struct Family {
    std::string name;
    std::vector<Operation> operations;
};

const std::vector<Family>& families();

std::vector<const Operation*> operations();

/// Throws UsageError, with a suggestion, for an unknown name.
const Operation& operationNamed(const std::string& name);

/// Runs it; a reply that lacks a text is an ending too. Throws FileError, Interrupted.
Ending carryOut(const Operation& operation, Call& call);

/// Whether a call with these arguments changes the slave.
bool changesSlave(const Operation& operation, const Given& given);

/// The options and arguments, checked against the operation and their ranges. Throws UsageError.
Given givenTo(const Operation& operation, const Options& options);

} // namespace nelkactl
