// A process that publishes methods with nelka::XmlrpcServer.
#pragma once

#include <csignal>
#include <stdexcept>

#include <nelkanet/xmlrpcserver.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "scriptedslave.h"

namespace support {

/// Serves, for its life, what `publish` adds, on a free port.
class ServerProcess {
public:
    explicit ServerProcess(void (*publish)(nelka::XmlrpcServer&))
    {
        int ends[2];
        if (pipe(ends) != 0)
            throw std::runtime_error("pipe");
        const pid_t parent = getpid();
        child = fork();
        if (child < 0)
            throw std::runtime_error("fork");
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent)
                _exit(0);
            serve(publish, ends[1]);
        }
        close(ends[1]);
        const bool reported = read(ends[0], &listeningPort, sizeof listeningPort) == sizeof listeningPort;
        close(ends[0]);
        if (!reported || listeningPort == 0)
            throw std::runtime_error("the server process does not listen");
    }

    ~ServerProcess()
    {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }

    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    unsigned short port() const { return listeningPort; }

private:
    [[noreturn]] static void serve(void (*publish)(nelka::XmlrpcServer&), int report)
    {
        nelka::XmlrpcServer server;
        publish(server);
        server.Start("", 0);
        const unsigned short port = ownListeningPort();
        if (write(report, &port, sizeof port) != sizeof port)
            _exit(1);
        while (server.listening())
            server.Run();
        _exit(1);
    }

    pid_t child = -1;
    unsigned short listeningPort = 0;
};

} // namespace support
