// Every operation: its name, what it takes, what it does.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "call.h"
#include "options.h"
#include "parameters.h"

namespace nelkactl {

struct Operation {
    using Action = std::function<void(Call&)>;

    std::string name;
    std::vector<Parameter> arguments;
    std::vector<Parameter> options; ///< those of its own
    std::string outputs;            ///< their names
    std::string help;               ///< one or more lines
    /// Makes the action of these options and arguments. Throws UsageError, FileError, Interrupted.
    std::function<Action(const Options&)> bind;
};

/// All of them, family by family.
const std::vector<Operation>& operations();

/// Throws UsageError for a name that is none's.
const Operation& operationNamed(const std::string& name);

/// bind(), once the options and the number of arguments are those of the operation.
Operation::Action actionOf(const Operation& operation, const Options& options);

} // namespace nelkactl
