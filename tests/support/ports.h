// Ports of 127.0.0.1: free, closed, deaf and listening ones.
#pragma once

#include <vector>

#include <netinet/in.h>

namespace support {

sockaddr_in loopback(unsigned short port);

/// A TCP socket of a free port. It does not listen.
int boundSocket();

unsigned short portOf(int socket);

/// A TCP socket that is connected to the port, -1 where that is refused.
int connectedTo(unsigned short port);

/// A port that nobody has, for a moment: only for what must bind it itself.
unsigned short freePort();

/// A port at which connections are refused. It belongs to this object, so that nobody comes to listen there.
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

/// A port that takes connections into a queue that is full: connecting to it never ends.
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
