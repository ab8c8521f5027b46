#include "help.h"

#include <algorithm>

namespace nelkactl {

namespace {

std::string column(const std::string& text, std::size_t width)
{
    return "  " + text + std::string(width > text.size() ? width - text.size() : 0, ' ') + "  ";
}

std::string nameOf(const Parameter& parameter)
{
    return (parameter.letter.empty() ? "" : parameter.letter + ", ") + parameter.name;
}

std::string meaningOf(const Parameter& parameter)
{
    std::string text = parameter.range + (parameter.isFlag() ? "" : "; ") + parameter.meaning;
    return parameter.whenAbsent.empty() ? text : text + " (" + parameter.whenAbsent + ")";
}

std::string listed(const std::string& title, const std::vector<Parameter>& parameters)
{
    if (parameters.empty())
        return "";
    std::size_t width = 0;
    for (const Parameter& parameter : parameters)
        width = std::max(width, nameOf(parameter).size());
    std::string text = "\n" + title + ":\n";
    for (const Parameter& parameter : parameters)
        text += column(nameOf(parameter), width) + meaningOf(parameter) + "\n";
    return text;
}

} // namespace

std::string generalHelp()
{
    std::string text = "Usage: nelkactl [OPTION...] OPERATION [ARGUMENT...]\n"
                       "Calls an operation of a slave module. Details: nelkactl OPERATION --help\n"
                       + listed("Options", option::ofEveryOperation)
                       + "  Put arguments that begin with '-', except negative numbers, after --.\n"
                         "  NELKA_HOST and NELKA_PORT are the defaults of --host and --port.\n";
    for (const Family& family : families()) {
        text += "\n" + family.name + ":\n";
        for (const Operation& operation : family.operations)
            text += column(operation.name, 28) + operation.gist + "\n";
    }
    return text
           + "\nExit status: 0 done; 1 the slave reported an error status; 2 usage, or a file\n"
             "that cannot be read or written; 3 transport, protocol or decoding fault;\n"
             "4 time-out. On SIGINT, SIGTERM or SIGHUP it cleans up and dies of the signal.\n";
}

std::string helpOn(const Operation& operation)
{
    std::string usage = "Usage: nelkactl [OPTION...] " + operation.name;
    for (const Parameter& argument : operation.arguments)
        usage += " " + argument.name;
    return usage + "\n" + operation.gist + ".\n" + (operation.more.empty() ? "" : operation.more + "\n")
           + (operation.effect == Effect::reads     ? ""
              : operation.effect == Effect::changes ? "Changes the slave; only --retry-writes retries it.\n"
                                                    : "If BORRAR is not 0, only --retry-writes retries it.\n")
           + listed("Arguments", operation.arguments) + listed("Options", operation.options)
           + (operation.outputs.empty() ? "" : "\nOutputs: " + operation.outputs + "\n");
}

} // namespace nelkactl
