#include "options.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include <CLI/CLI.hpp>

#include "address.h"
#include "number.h"

namespace nelkactl {

namespace {

// CLI11 would take some texts for something else: a list in brackets, an option's empty value, a text after "--" that
// looks like an option. Whatever is no option is therefore marked, and CLI11 never looks at its first character.
constexpr char mark = '\0';

std::string marked(const std::string& text)
{
    return mark + text;
}

std::string unmarked(std::string text)
{
    if (!text.empty() && text.front() == mark)
        text.erase(0, 1);
    return text;
}

bool isOption(const std::string& text)
{
    const bool negativeNumber = text.size() > 1 && std::isdigit(static_cast<unsigned char>(text[1]));
    return text.size() > 1 && text[0] == '-' && !negativeNumber;
}

std::vector<std::string> markedCommandLine(int argc, const char* const* argv, bool& json)
{
    std::vector<std::string> all;
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string text = argv[i];
        const std::size_t equals = text.find('=');
        if (optionsEnded || !isOption(text)) {
            all.push_back(marked(text));
        } else if (text == "--") {
            optionsEnded = true;
        } else if (text == "--json") {
            json = true; // known even where CLI11 gives up: what went wrong is told in the same way
        } else if (text.starts_with("--") && equals != std::string::npos) {
            all.push_back(text.substr(0, equals));
            all.push_back(marked(text.substr(equals + 1)));
        } else {
            all.push_back(text);
        }
    }
    std::reverse(all.begin(), all.end()); // the order that CLI11 takes a vector in
    return all;
}

const char* const flagsOfSome[] = {"--yes"};
const char* const optionsOfSome[] = {
    "--frecuencia",    "--frecuenciaIntermedia",
    "--parametroSat",  "--parametroTerr",
    "--parametroSat2", "--parametroComun",
    "--parametroSat3", "--parametroSat4",
    "--interval",      "--until",
    "--input",         "--output",
};

std::string fromEnvironment(const char* name, const char* otherwise)
{
    const char* const value = std::getenv(name);
    return value && *value ? value : otherwise;
}

} // namespace

void readCommandLine(int argc, const char* const* argv, Options& options)
{
    options.host = fromEnvironment("NELKA_HOST", "127.0.0.1");
    std::string port = fromEnvironment("NELKA_PORT", "8080");
    std::string timeout = std::to_string(options.timeout);
    std::vector<std::string> words;

    CLI::App app;
    app.set_help_flag();
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    const CLI::Option* const typedHost = app.add_option("-H,--host", options.host);
    const CLI::Option* const typedPort = app.add_option("-p,--port", port);
    app.add_option("-t,--timeout", timeout);
    app.add_option("-d,--database", options.dbName);
    app.add_flag("-v,--verbose", options.verbose);
    app.add_flag("-q,--quiet", options.quiet);
    app.add_flag("--trace", options.trace);
    app.add_flag("-h,--help", options.help);
    app.add_flag("--version", options.version);
    for (const std::string name : flagsOfSome)
        app.add_flag_callback(name, [&options, name] { options.particular[name]; });
    for (const std::string name : optionsOfSome)
        app.add_option_function<std::string>(
            name, [&options, name](const std::string& text) { options.particular[name] = unmarked(text); });
    app.add_option("words", words)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);

    std::string misunderstood;
    try {
        app.parse(markedCommandLine(argc, argv, options.json));
    } catch (const CLI::ExtrasError&) {
        misunderstood = "no option " + app.remaining().front() + "; a text that begins with '-' follows --";
    } catch (const CLI::Error& error) {
        misunderstood = error.what();
    }

    options.host = unmarked(options.host);
    options.dbName = unmarked(options.dbName);
    std::transform(words.begin(), words.end(), words.begin(), unmarked);
    if (!words.empty()) {
        options.operation = words.front();
        options.arguments.assign(words.begin() + 1, words.end());
    }
    if (!misunderstood.empty())
        throw UsageError(misunderstood);
    if (options.help || options.version)
        return;

    const Address address = parseAddress(options.host);
    options.host = address.host;
    // What is typed comes before what the environment says, and the port of a HOST before NELKA_PORT.
    const bool portOfHost = address.port && (typedHost->count() > 0 || typedPort->count() == 0);
    options.port = portOfHost ? *address.port : parsePort(unmarked(port));
    if (portOfHost && typedPort->count() > 0 && parsePort(unmarked(port)) != options.port)
        throw UsageError("PORT is given twice, " + std::to_string(options.port) + " and " + unmarked(port));
    options.timeout = decimal<unsigned short>("MS", unmarked(timeout));
}

} // namespace nelkactl
