// nelkactl: every operation of a slave module from a shell.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>

#include <syslog.h>

#include "../standardstreams.h"
#include "call.h"
#include "failure.h"
#include "files.h"
#include "help.h"
#include "interruption.h"
#include "operations.h"
#include "options.h"

namespace nelkactl {

namespace {

void setUpLog(const Options& options)
{
    openlog("nelkactl", LOG_PERROR, LOG_USER);
    setlogmask(LOG_UPTO(options.verbose ? LOG_DEBUG : LOG_ERR));
    if (options.trace)
        setenv("XMLRPC_TRACE_XML", "1", 1);
}

void say(const std::string& words)
{
    std::cerr << "nelkactl: " << words << std::endl;
}

Ending perform(const Operation::Action& action, nelka::XmlrpcClient& client, Call& call)
{
    try {
        if (const int fault = interruption::initialised(client); fault != 0)
            return {faulted, fault, std::string("no client: ") + client.environment().fault_string};
        interruption::check();
        action(call);
        return call.ending();
    } catch (const Interrupted& interruption) {
        return {interrupted, XMLRPC_TIMEOUT_ERROR, std::string("interruption: ") + interruption.what()};
    } catch (const FileError& error) {
        return {unusable, client.getFault(), std::string("file: ") + error.what()};
    } catch (const std::logic_error&) {
        if (call.answered())
            throw;
        return call.ending(); // the reply lacks a text; what the decoding met is in the environment
    }
}

std::string addressed(const Options& options)
{
    return options.operation + " at " + options.host + " port " + std::to_string(options.port) + ": ";
}

int run(const Operation& operation, const Options& options)
{
    setUpLog(options);
    interruption::watch();
    const Operation::Action action = actionOf(operation, options);

    nelka::XmlrpcClient client(hostInUrl(options.host), options.port, "", "nelkactl", NELKANET_VERSION);
    client.dbName = options.dbName;
    Call call(client, options.timeout);
    const Ending ending = perform(action, client, call);

    // The alarm of a call that failed is still to come; nothing that follows is to be cut short by it.
    if (ending.status != done)
        client.set_timer(0);
    interruption::forget();
    writeToStandardOutput(options.json ? json(operation.name, ending.fault, call.results()) : readable(call.results()));
    if (ending.status != done)
        say(addressed(options) + ending.words);
    return ending.status;
}

int show(const std::string& text)
{
    writeToStandardOutput(text);
    return done;
}

int obey(int argc, const char* const* argv)
{
    Options options;
    const auto end = [&options](ExitStatus status, const std::string& words) {
        say((options.operation.empty() ? "" : addressed(options)) + words);
        return status;
    };
    try {
        readCommandLine(argc, argv, options);
        if (options.version)
            return show("nelkactl " NELKANET_VERSION "\n");
        if (options.help && options.operation.empty())
            return show(generalHelp());
        const Operation& operation = operationNamed(options.operation);
        return options.help ? show(helpOn(operation)) : run(operation, options);
    } catch (const UsageError& error) {
        return end(unusable, std::string("usage: ") + error.what() + " (see nelkactl --help)");
    } catch (const FileError& error) {
        return end(unusable, std::string("file: ") + error.what());
    } catch (const Interrupted& interruption) {
        return end(interrupted, std::string("interruption: ") + interruption.what());
    } catch (const std::exception& error) {
        return end(faulted, std::string("fault: ") + error.what());
    }
}

} // namespace

} // namespace nelkactl

int main(int argc, char** argv)
{
    occupyStandardStreams();
    return nelkactl::obey(argc, argv);
}
