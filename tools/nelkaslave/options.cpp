#include "options.h"

#include <CLI/CLI.hpp>
#include <nelkanet/version.h>

namespace nelkaslave {

std::optional<Options> parseOptions(int argc, char** argv, int& exitStatus)
{
    Options options;
    CLI::App app("A simulated slave module: answers every remote procedure.", "nelkaslave");
    app.add_option("--port", options.port, "TCP port (default 8080); 0 takes a free one")
        ->check(CLI::Range(0, 65535))
        ->option_text("PORT");
    app.add_option("--state", options.state,
                   "folder that keeps the state, made with sample\n"
                   "content when it is absent or empty; without this\n"
                   "option a temporary one that goes with the slave")
        ->option_text("DIR");
    app.add_option("--behave", options.behave,
                   "JSON file of procedures that answer late, with a\n"
                   "status, with a fault or with a fixed reply")
        ->option_text("FILE");
    app.set_help_flag("-h,--help", "print this and end");
    app.set_version_flag("--version", std::string("nelkaslave ") + NELKANET_VERSION, "print the version and end");
    app.footer("Writes `listening on PORT` to standard output, then a line for each call to\n"
               "standard error. SIGTERM and SIGINT end it.\n\n"
               "Status in replies:\n"
               "  0 done, 1 not found, 2 bad argument, 3 database error, 4 storage error\n"
               "Exit status:\n"
               "  0 ended by a signal, 1 cannot listen or use its state, 2 usage or behave file");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        exitStatus = app.exit(end) == 0 ? 0 : 2;
        return std::nullopt;
    }
    return options;
}

} // namespace nelkaslave
