// nelkactl: calls the operations of slave modules from a shell.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include <syslog.h>

#include "../standardstreams.h"
#include "address.h"
#include "call.h"
#include "completion.h"
#include "dump.h"
#include "failure.h"
#include "files.h"
#include "fleet.h"
#include "help.h"
#include "interruption.h"
#include "operations.h"
#include "options.h"
#include "result.h"

namespace nelkactl {

namespace {

using Clock = std::chrono::steady_clock;

void setUpLog(const Options& options)
{
    const bool verbose = options.has(option::verbose);
    openlog("nelkactl", verbose ? LOG_PERROR : 0, LOG_USER);
    setlogmask(LOG_UPTO(verbose ? LOG_DEBUG : LOG_ERR));
    if (options.has(option::trace))
        setenv("XMLRPC_TRACE_XML", "1", 1);
}

Ending perform(const Operation& operation, Call& call)
{
    try {
        if (const int fault = interruption::connected(call.client); fault != 0)
            return {Kind::faulted, fault, std::string("no client: ") + call.client.environment().fault_string};
        interruption::check();
        return carryOut(operation, call);
    } catch (const Interrupted& interruption) {
        return {Kind::interrupted, XMLRPC_TIMEOUT_ERROR, interruption.what()};
    } catch (const FileError& error) {
        return {Kind::unusable, call.client.getFault(), error.what()};
    }
}

void run(const Operation& operation, const Options& options, Result& result)
{
    setUpLog(options);
    interruption::watch();
    const Given given = givenTo(operation, options);

    nelka::XmlrpcClient client(hostInUrl(options.host), options.port, "", "nelkactl", NELKANET_VERSION);
    client.dbName = option::database.in(given);
    const Call prepared(client, options, given);
    const bool mayRepeat = !changesSlave(operation, given) || options.has(option::retryWrites);
    const int retries = mayRepeat ? option::retry.in(given) : 0;
    for (result.tries = 1;; ++result.tries) {
        Call call = prepared;
        const auto start = Clock::now();
        result.ending = perform(operation, call);
        result.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        result.outputs = call.results();

        // The late alarm of a failed call must not interrupt what follows.
        if (result.ending.kind != Kind::done)
            client.set_timer(0);
        if ((result.ending.kind != Kind::faulted && result.ending.kind != Kind::timedOut) || result.tries > retries)
            break;
        interruption::pause(std::chrono::milliseconds(option::retryDelay.in(given)));
    }
    if (interruption::seen() && result.ending.kind == Kind::done)
        result.ending = {Kind::interrupted, 0,
                         std::string(interruption::name()) + " as the answer came"
                             + (result.ending.reason.empty() ? "" : "; " + result.ending.reason)};
    interruption::forget();
}

bool show(const std::string& text)
{
    writeToStandardOutput(text);
    return false;
}

// Runs help, version or an operation. False if no result remains to be written.
bool obey(int argc, const char* const* argv, Options& options, Result& result)
{
    readCommandLine(argc, argv, options);
    if (options.has(option::version))
        return show("nelkactl " NELKANET_VERSION "\n");
    if (options.has(option::help) && options.operation.empty())
        return show(generalHelp());
    const Operation& operation = operationNamed(options.operation);
    if (options.has(option::help))
        return show(helpOn(operation));
    if (operation.run == dump)
        options.given[option::json.name];
    if (asksMuch(options)) {
        result.ending.kind = askMuch(operation, options);
        return false;
    }
    run(operation, options, result);
    return true;
}

// Turns an exception into an ending.
template <typename Action>
void settle(Ending& ending, const Action& action)
{
    try {
        action();
    } catch (const UsageError& error) {
        ending = {Kind::unusable, 0, std::string(error.what()) + " (see nelkactl --help)"};
    } catch (const FileError& error) {
        ending = {Kind::unusable, 0, error.what()};
    } catch (const Interrupted& interruption) {
        ending = {Kind::interrupted, 0, interruption.what()};
    } catch (const std::exception& error) {
        ending = {Kind::faulted, 0, error.what()};
    }
}

int run(int argc, char** argv)
{
    if (argc > 1 && std::string(argv[1]) == "--complete") {
        std::cout << completions({argv + 2, argv + argc});
        return 0;
    }
    Options options;
    Result result;
    bool untold = true;
    settle(result.ending, [&] { untold = obey(argc, argv, options, result); });
    result.operation = options.operation;
    result.host = options.host;
    result.port = options.port;
    settle(result.ending, [&] {
        if (untold)
            writeToStandardOutput(options.has(option::json) ? resultLine(result) : readable(result.outputs));
    });
    if (untold && !result.ending.reason.empty() && !options.has(option::quiet))
        std::cerr << "nelkactl: " << inWords(result) << std::endl;
    if (result.ending.kind == Kind::interrupted)
        interruption::die();
    return result.ending.exitStatus();
}

} // namespace

} // namespace nelkactl

int main(int argc, char** argv)
{
    occupyStandardStreams();
    try {
        return nelkactl::run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "nelkactl: %s\n", error.what());
        return 3;
    }
}
