#include "help.h"

#include <algorithm>

namespace nelkactl {

namespace {

constexpr std::size_t screenWidth = 80;

std::string namesOfOperations()
{
    std::string text;
    std::string line = " ";
    for (const Operation& operation : operations()) {
        if (line.size() + 1 + operation.name.size() > screenWidth) {
            text += line + "\n";
            line = " ";
        }
        line += " " + operation.name;
    }
    return text + line + "\n";
}

std::string listed(const std::string& title, const std::vector<Parameter>& parameters)
{
    if (parameters.empty())
        return "";
    std::size_t width = 0;
    for (const Parameter& parameter : parameters)
        width = std::max(width, parameter.name.size());
    std::string text = "\n" + title + ":\n";
    for (const Parameter& parameter : parameters) {
        const std::string between = parameter.range.empty() || parameter.meaning.empty() ? "" : "; ";
        text += "  " + parameter.name + std::string(width - parameter.name.size() + 2, ' ') + parameter.range + between
                + parameter.meaning + "\n";
    }
    return text;
}

} // namespace

std::string generalHelp()
{
    return "Usage: nelkactl [OPTION...] OPERATION [ARGUMENT...]\n"
           "Calls an operation of a slave module. More on one: nelkactl OPERATION --help\n"
           "  -H, --host HOST[:PORT]  the slave's address (or NELKA_HOST; 127.0.0.1)\n"
           "  -p, --port PORT         its port (or NELKA_PORT; 8080)\n"
           "  -t, --timeout MS        time-out of a call, 0 to 65535, 0 for none (5000)\n"
           "  -d, --database DBNAME   its database (modulo)\n"
           "  --json                  the result as one line of JSON\n"
           "  -v, --verbose; -q, --quiet  the library's log; nothing on standard error\n"
           "  --trace                 the XML that travels, on standard error\n"
           "  -h, --help; --version   this; the version\n"
           "A text that begins with '-', other than a negative number, follows --.\n"
           "Operations:\n"
           + namesOfOperations()
           + "Exit status: 0 done; 1 the slave reported an error status; 2 usage, or a file\n"
             "that cannot be read or written; 3 transport, protocol or decoding fault;\n"
             "4 time-out; 5 interrupted.\n";
}

std::string helpOn(const Operation& operation)
{
    std::string usage = "Usage: nelkactl [OPTION...] " + operation.name;
    for (const Parameter& argument : operation.arguments)
        usage += " " + argument.name;
    return usage + "\n" + operation.help + "\n" + listed("Arguments", operation.arguments)
           + listed("Options of its own", operation.options)
           + (operation.outputs.empty() ? "" : "\nOutputs: " + operation.outputs + "\n");
}

} // namespace nelkactl
