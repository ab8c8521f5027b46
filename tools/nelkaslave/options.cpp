#include "options.h"

#include <iostream>

#include <CLI/CLI.hpp>
#include <nelkanet/version.h>

namespace nelkaslave {

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus)
{
    Options options;
    CLI::App app("A simulated slave module: answers every remote procedure.", "nelkaslave");
    app.add_option("-p,--port", options.port, "TCP port (default 8080); 0 chooses a free one")
        ->check(CLI::Range(0, 65535))
        ->option_text("PORT");
    CLI::Option* const state =
        app.add_option("--state", options.state, "folder for the state (default: a temporary one)")->option_text("DIR");
    CLI::Option* const behave =
        app.add_option("--behave", options.behave, "JSON file that says how to answer calls")->option_text("FILE");
    CLI::Option* const forward =
        app.add_option("--forward", options.forward, "real module to pass the calls on to")->option_text("HOST[:PORT]");
    CLI::Option* const record =
        app.add_option("--record", options.record, "file to append a line to for each call")->option_text("FILE");
    forward->needs(record);
    record->needs(forward);
    app.add_option_function<int>(
           "--forward-timeout", [&](int value) { options.forwardTimeout = std::chrono::milliseconds(value); },
           "how long the module may take (default 20000)")
        ->check(CLI::Range(1, 3600000))
        ->needs(forward)
        ->option_text("MS");
    CLI::Option* const replay =
        app.add_option("--replay", options.replay, "recording to answer from")->option_text("FILE");
    app.add_flag("--replay-once", options.replayOnce, "give each answer only once")->needs(replay)->option_text(" ");
    app.add_option("--speed", options.speed, "2 halves the delays, 0 skips them")
        ->check(CLI::Range(0.0, 1e6))
        ->needs(replay)
        ->option_text("FACTOR");
    CLI::Option* const show = app.add_option("--show", options.show, "print a recording and exit")->option_text("FILE");
    app.add_flag("--plot", options.plot, "draw the delays instead, as SVG (with gnuplot)")
        ->needs(show)
        ->option_text(" ");
    // Only one source of answers.
    for (CLI::Option* const source : {forward, replay, show})
        for (CLI::Option* const other : {state, behave, forward, replay, show})
            if (source != other)
                source->excludes(other);
    app.set_help_flag("-h,--help", "print this and exit");
    app.set_version_flag("--version", std::string("nelkaslave ") + NELKANET_VERSION, "print the version and exit");
    app.footer("Writes `listening on PORT` to standard output, then one line per call to\n"
               "standard error. SIGTERM, SIGINT and SIGHUP end it.\n"
               "Status in replies:\n"
               "  0 done, 1 not found, 2 bad argument, 3 database error, 4 storage error\n"
               "Exit status:\n"
               "  0 ended by a signal, 1 cannot listen or use its state, 2 usage or a file");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end) == 0 ? 0 : 2;
        if (!std::cout.flush()) {
            std::cerr << "nelkaslave: standard output cannot be written\n";
            exitStatus = 1;
        }
        return std::nullopt;
    }
    return options;
}

} // namespace nelkaslave
