// Ports of 127.0.0.1: free, closed, deaf and listening ones.
#pragma once

#include <vector>

#include <netinet/in.h>

namespace support {

sockaddr_in loopback(unsigned short port);

/// A TCP socket bound to a free port; it does not listen.
int boundSocket();

unsigned short portOf(int socket);

/// A TCP socket connected to the port, or -1 if refused.
int connectedTo(unsigned short port);

/// A port that is free at the moment: only for callers that must bind it themselves.
unsigned short freePort();

/// A port that refuses connections. This object owns it, so that nobody else listens there.
class ClosedPort {
public:
    ClosedPort() : bound(boundSocket()) {}
    ~ClosedPort();
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    unsigned short port() const { return portOf(bound); }

private:
    int bound;
};

/// A port with a full accept queue: connecting to it never ends.
class BlackHole {
public:
    BlackHole();
    ~BlackHole();
    BlackHole(const BlackHole&) = delete;
    BlackHole& operator=(const BlackHole&) = delete;

    unsigned short port() const { return listeningPort; }

private:
    std::vector<int> sockets;
    unsigned short listeningPort = 0;
};

/// The port of this process's only listening TCP socket, 0 if it has no such socket.
unsigned short ownListeningPort();

} // namespace support
