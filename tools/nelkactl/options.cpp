#include "options.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include <CLI/CLI.hpp>

#include "address.h"
#include "operations.h"

namespace nelkactl {

namespace {

// CLI11 would misread some texts: a list in brackets, an option's empty value, a text after "--" that looks like an
// option. So everything but options gets a mark as its first character.
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

std::vector<std::string> markedCommandLine(int argc, const char* const* argv, Given& given)
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
        } else if (text == option::json.name) {
            given[text]; // recorded even if CLI11 gives up, so that the error is written as JSON too
        } else if (text.starts_with("--") && equals != std::string::npos) {
            all.push_back(text.substr(0, equals));
            all.push_back(marked(text.substr(equals + 1)));
        } else {
            all.push_back(text);
        }
    }
    std::reverse(all.begin(), all.end()); // CLI11 takes a vector in reverse order
    return all;
}

void add(CLI::App& app, const Parameter& option, Given& given)
{
    const std::string names = (option.letter.empty() ? "" : option.letter + ",") + option.name;
    if (option.isFlag())
        app.add_flag_callback(names, [&given, &option] { given[option.name]; });
    else if (option.repeats)
        app.add_option_function<std::vector<std::string>>(names,
                                                          [&given, &option](const std::vector<std::string>& texts) {
                                                              for (const std::string& text : texts)
                                                                  given[option.name] += unmarked(text) + separator;
                                                          })
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
            ->allow_extra_args(false);
    else
        app.add_option_function<std::string>(
            names, [&given, &option](const std::string& text) { given[option.name] = unmarked(text); });
}

void addAll(CLI::App& app, Given& given)
{
    app.set_help_flag();
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    for (const Parameter& option : option::ofEveryOperation)
        add(app, option, given);
    for (const Family& family : families())
        for (const Operation& operation : family.operations)
            for (const Parameter& option : operation.options)
                if (!app.get_option_no_throw(option.name))
                    add(app, option, given);
}

std::string fromEnvironment(const char* name, const Parameter& option)
{
    const char* const value = std::getenv(name);
    return value && *value ? value : option.whenAbsent;
}

} // namespace

void readCommandLine(int argc, const char* const* argv, Options& options)
{
    CLI::App app;
    addAll(app, options.given);
    std::vector<std::string> words;
    app.add_option("words", words)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);

    std::string misunderstood;
    try {
        app.parse(markedCommandLine(argc, argv, options.given));
    } catch (const CLI::ExtrasError&) {
        misunderstood = "unknown option " + app.remaining().front() + "; put a text that begins with '-' after --";
    } catch (const CLI::Error& error) {
        misunderstood = error.what();
    }
    std::transform(words.begin(), words.end(), words.begin(), unmarked);
    if (!words.empty()) {
        options.operation = words.front();
        options.arguments.assign(words.begin() + 1, words.end());
    }

    // The command line overrides the environment, and the port in HOST overrides NELKA_PORT.
    const bool typedHost = options.given.contains(option::host.name);
    const bool typedPort = options.given.contains(option::port.name);
    options.given.try_emplace(option::host.name, fromEnvironment("NELKA_HOST", option::host));
    options.given.try_emplace(option::port.name, fromEnvironment("NELKA_PORT", option::port));
    options.host = option::host.in(options.given);
    if (!misunderstood.empty())
        throw UsageError(misunderstood);
    if (options.has(option::help) || options.has(option::version))
        return;

    options.timeout = option::timeout.in(options.given);
    if (options.has(option::hosts)) {
        if (typedHost)
            throw UsageError("--host and --hosts exclude each other");
        options.host.clear();
        options.port = option::port.in(options.given);
        return;
    }
    const Address address = parseAddress(options.host);
    options.host = address.host;
    const bool portOfHost = address.port && (typedHost || !typedPort);
    options.port = portOfHost ? *address.port : option::port.in(options.given);
    if (portOfHost && typedPort && option::port.in(options.given) != options.port)
        throw UsageError("PORT is given twice, " + std::to_string(options.port) + " and "
                         + options.given.at(option::port.name));
}

} // namespace nelkactl
