#include "parameters.h"

#include <chrono>
#include <limits>

#include "failure.h"

namespace nelkactl {

// Arguments --------------------------------------------------------------------------------------------------------

template <>
std::string rangeOfArgument<bool>()
{
    return "0, 1, false or true";
}

template <>
std::string rangeOfArgument<std::string>()
{
    return "text";
}

template <>
bool readArgument<bool>(const std::string& name, const std::string& text)
{
    if (text == "1" || text == "true")
        return true;
    if (text == "0" || text == "false")
        return false;
    throw UsageError(name + " is " + rangeOfArgument<bool>() + ", not '" + text + "'");
}

template <>
std::string readArgument<std::string>(const std::string&, const std::string& text)
{
    return text;
}

// Options ----------------------------------------------------------------------------------------------------------

namespace {

template <typename Integer>
Integer readNumber(const Options& options, const std::string& name, Integer whenAbsent,
                   Integer lowest = std::numeric_limits<Integer>::min())
{
    const auto given = options.particular.find(name);
    return given == options.particular.end() ? whenAbsent : decimal<Integer>(name, given->second, lowest);
}

const std::string& readRequired(const Options& options, const std::string& name)
{
    const auto given = options.particular.find(name);
    if (given == options.particular.end())
        throw UsageError(options.operation + " requires " + name);
    return given->second;
}

template <typename Visit>
void forEachMember(nelka::tcanal& canal, Visit visit)
{
    visit("--frecuencia", canal.frecuencia);
    visit("--frecuenciaIntermedia", canal.frecuenciaIntermedia);
    visit("--parametroSat", canal.parametroSat);
    visit("--parametroTerr", canal.parametroTerr);
    visit("--parametroSat2", canal.parametroSat2);
    visit("--parametroComun", canal.parametroComun);
    visit("--parametroSat3", canal.parametroSat3);
    visit("--parametroSat4", canal.parametroSat4);
}

} // namespace

std::vector<Parameter> FromOptions<Confirmation>::describe()
{
    return {{"--yes", "", "required, so that nobody does this by accident"}};
}

Confirmation FromOptions<Confirmation>::read(const Options& options)
{
    readRequired(options, "--yes");
    return {};
}

std::vector<Parameter> FromOptions<nelka::tcanal>::describe()
{
    std::vector<Parameter> all;
    nelka::tcanal canal;
    forEachMember(canal, [&all]<typename Integer>(const char* name, Integer&) {
        all.push_back({name, rangeOf<Integer>(), "0 when absent"});
    });
    return all;
}

nelka::tcanal FromOptions<nelka::tcanal>::read(const Options& options)
{
    nelka::tcanal canal;
    forEachMember(canal, [&options]<typename Integer>(const char* name, Integer& member) {
        member = readNumber<Integer>(options, name, 0);
    });
    return canal;
}

std::vector<Parameter> FromOptions<Watch>::describe()
{
    return {{"--interval", rangeOf<int>(1), "milliseconds between polls, 500 when absent"},
            {"--until", rangeOf<int>(0), "the status that ends the scan, 100 when absent"}};
}

Watch FromOptions<Watch>::read(const Options& options)
{
    return {std::chrono::milliseconds(readNumber<int>(options, "--interval", 500, 1)),
            readNumber<int>(options, "--until", 100, 0), !options.verbose && !options.trace};
}

std::vector<Parameter> FromOptions<Input>::describe()
{
    return {{"--input", "FILE", "the block to send, required; - is standard input"}};
}

Input FromOptions<Input>::read(const Options& options)
{
    return {readFile(readRequired(options, "--input"))};
}

std::vector<Parameter> FromOptions<OutputFile>::describe()
{
    return {{"--output", "FILE", "takes the block, required; - is standard output"}};
}

OutputFile FromOptions<OutputFile>::read(const Options& options)
{
    const std::string& path = readRequired(options, "--output");
    if (path == "-" && options.json)
        throw UsageError("--output - and --json both take standard output");
    return OutputFile(path);
}

} // namespace nelkactl
