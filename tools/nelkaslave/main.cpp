// A simulated slave module.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include <nelkanet/xmlrpcserver.h>
#include <sys/file.h>
#include <xmlrpc-c/base.h>

#include "../standardstreams.h"
#include "behave.h"
#include "calls.h"
#include "ending.h"
#include "options.h"
#include "port.h"
#include "procedures.h"
#include "sample.h"
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

// Where the state is kept: the folder asked for, or one that goes with this object.
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

// Two slaves on one state would write over each other.
Descriptor lockFolder(const fs::path& path)
{
    Descriptor folder = openFolder(path);
    if (flock(folder.get(), LOCK_EX | LOCK_NB) != 0)
        failed(path.string() + " is another slave's");
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

int serve(const Options& options, Slave& slave, Script script)
{
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, xmlSizeLimit);
    Calls calls(slave, std::move(script));
    nelka::XmlrpcServer server;
    calls.publish(server);

    const std::set<int> before = listeningPorts();
    server.Start("", static_cast<unsigned int>(options.port));
    if (!server.listening())
        return fail(1, "cannot listen on port " + std::to_string(options.port) + ": " + whyNotOpened(options.port));
    std::printf("listening on %d\n", portOpened(options, before));
    std::fflush(stdout);

    while (!ending())
        server.Run();
    return 0;
}

int run(const Options& options)
{
    try {
        Script script;
        if (options.behave)
            try {
                script = readBehaviours(*options.behave);
            } catch (const std::exception& error) {
                return fail(2, error.what());
            }
        const StateFolder folder(options.state);
        const Descriptor lock = lockFolder(folder.path);
        if (needsSample(folder.path))
            makeSample(folder.path);
        Slave slave(folder.path);
        return serve(options, slave, std::move(script));
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
    int exitStatus = 0;
    const std::optional<Options> options = parseOptions(argc, argv, exitStatus);
    return options ? run(*options) : exitStatus;
}
