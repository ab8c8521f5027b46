// A simulated slave module.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <nelkanet/xmlrpcserver.h>
#include <sys/file.h>
#include <xmlrpc-c/base.h>

#include "../standardstreams.h"
#include "behave.h"
#include "calls.h"
#include "door.h"
#include "ending.h"
#include "options.h"
#include "port.h"
#include "procedures.h"
#include "recorder.h"
#include "sample.h"
#include "show.h"
#include "storage.h"

namespace fs = std::filesystem;

namespace nelkaslave {

namespace {

constexpr std::size_t xmlSizeLimit = 16U << 20U; // well above what a client sends

int fail(int exitStatus, const std::string& why)
{
    std::fprintf(stderr, "nelkaslave: %s\n", why.c_str());
    return exitStatus;
}

// The command line names something unusable.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

template <typename Use>
auto given(Use use)
{
    try {
        return use();
    } catch (const std::exception& error) {
        throw UsageError(error.what());
    }
}

// The folder of the state: the given one, or a temporary one that the destructor deletes.
class StateFolder {
public:
    explicit StateFolder(const std::optional<fs::path>& asked) : temporary(!asked)
    {
        if (asked) {
            fs::create_directories(*asked);
            path = fs::canonical(*asked);
            return;
        }
        std::string name = fs::canonical(fs::temp_directory_path()) / "nelkaslave-XXXXXX";
        if (!mkdtemp(name.data()))
            failed(name);
        path = name;
    }
    ~StateFolder()
    {
        std::error_code ignored;
        if (temporary)
            fs::remove_all(path, ignored);
    }
    StateFolder(const StateFolder&) = delete;
    StateFolder& operator=(const StateFolder&) = delete;

    fs::path path;

private:
    bool temporary;
};

// Two slaves on one state would overwrite each other's changes.
Descriptor lockFolder(const fs::path& path)
{
    Descriptor folder = openFolder(path);
    if (flock(folder.get(), LOCK_EX | LOCK_NB) != 0)
        failed(path.string() + " is used by another slave");
    return folder;
}

int portOpened(const Options& options, const std::set<int>& before)
{
    if (options.port != 0)
        return options.port;
    for (const int port : listeningPorts())
        if (!before.contains(port))
            return port;
    return 0;
}

void announce(int port)
{
    std::printf("listening on %d\n", port);
    std::fflush(stdout);
    // xmlrpc-c writes there when a peer resets its connection: a pipe that nobody reads would stop the slave.
    discardStandardOutput();
}

int serve(const Options& options, Slave& slave, Script script)
{
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, xmlSizeLimit);
    Calls calls(slave, std::move(script));
    nelka::XmlrpcServer server;
    calls.publish(server);

    const std::set<int> before = options.port == 0 ? listeningPorts() : std::set<int>();
    server.Start("", static_cast<unsigned int>(options.port));
    if (!server.listening())
        return fail(1, "cannot listen on port " + std::to_string(options.port) + ": " + whyNotOpened(options.port));
    announce(portOpened(options, before));

    while (!ending())
        server.Run();
    return 0;
}

int simulate(const Options& options)
{
    Script script = options.behave ? given([&] { return readBehaviours(*options.behave); }) : Script();
    const StateFolder folder(options.state);
    const Descriptor lock = lockFolder(folder.path);
    if (needsSample(folder.path))
        makeSample(folder.path);
    Slave slave(folder.path);
    return serve(options, slave, std::move(script));
}

template <typename Answering>
int serveAsItComes(const Options& options, Answering& answering)
{
    Door door(options.port,
              [&](const std::string& request, const Caller& caller) { return answering.answer(request, caller); });
    announce(door.port());
    while (!ending())
        door.serve();
    return 0;
}

int record(const Options& options)
{
    RealModule module = given([&] { return RealModule(*options.forward, options.forwardTimeout); });
    Recording recording = given([&] { return Recording(*options.record); });
    Recorder recorder(module, recording);
    return serveAsItComes(options, recorder);
}

int playBack(const Options& options)
{
    Replay replay = given([&] { return Replay(*options.replay, {options.replayOnce, options.speed}); });
    return serveAsItComes(options, replay);
}

int look(const Options& options)
{
    const std::vector<Recorded> recording = given([&] { return readRecording(*options.show); });
    if (options.plot)
        plot(recording, *options.show);
    else
        show(recording);
    if (std::fflush(stdout) != 0)
        failed("standard output");
    return 0;
}

int run(const Options& options)
{
    try {
        return options.show      ? look(options)
               : options.replay  ? playBack(options)
               : options.forward ? record(options)
                                 : simulate(options);
    } catch (const UsageError& error) {
        return fail(2, error.what());
    } catch (const std::exception& error) {
        return fail(1, error.what());
    }
}

} // namespace

} // namespace nelkaslave

int main(int argc, char** argv)
{
    using namespace nelkaslave;
    occupyStandardStreams();
    endOnSignals();
    std::signal(SIGXFSZ, SIG_IGN); // writing beyond the file size limit fails instead
    int exitStatus = 0;
    const std::optional<Options> options = parseOptions(argc, argv, exitStatus);
    return options ? run(*options) : exitStatus;
}
