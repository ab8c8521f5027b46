// A process that publishes methods with nelka::XmlrpcServer.
#pragma once

#include <optional>
#include <stdexcept>

#include <nelkanet/xmlrpcserver.h>
#include <unistd.h>

#include "support/checked.h"
#include "support/child.h"
#include "support/ports.h"

namespace support {

/// Serves the methods that `publish` adds, on a free port, during its lifetime.
class ServerProcess {
public:
    explicit ServerProcess(void (*publish)(nelka::XmlrpcServer&))
    {
        int ends[2];
        checked(pipe(ends), "pipe");
        child.emplace([&] { serve(publish, ends[1]); });
        close(ends[1]);
        const bool reported = read(ends[0], &listeningPort, sizeof listeningPort) == sizeof listeningPort;
        close(ends[0]);
        if (!reported || listeningPort == 0)
            throw std::runtime_error("the server process does not listen");
    }

    pid_t id() const { return child->id(); }
    unsigned short port() const { return listeningPort; }

private:
    static void serve(void (*publish)(nelka::XmlrpcServer&), int report)
    {
        nelka::XmlrpcServer server;
        publish(server);
        server.Start("", 0);
        const unsigned short port = ownListeningPort();
        if (write(report, &port, sizeof port) != sizeof port)
            return;
        while (server.listening())
            server.Run();
    }

    std::optional<Child> child;
    unsigned short listeningPort = 0;
};

} // namespace support
