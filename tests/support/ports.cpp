#include "ports.h"

#include <cerrno>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "checked.h"

namespace support {

namespace {

int newSocket(int flags = 0)
{
    return checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0), "socket");
}

int connectTo(unsigned short port, int socket)
{
    const sockaddr_in address = loopback(port);
    return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

} // namespace

sockaddr_in loopback(unsigned short port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int boundSocket()
{
    const int bound = newSocket();
    const sockaddr_in address = loopback(0);
    checked(bind(bound, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    return bound;
}

unsigned short portOf(int socket)
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    checked(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
}

int connectedTo(unsigned short port)
{
    const int connection = newSocket();
    if (connectTo(port, connection) == 0)
        return connection;
    close(connection);
    return -1;
}

unsigned short freePort()
{
    return ClosedPort().port();
}

ClosedPort::~ClosedPort()
{
    close(bound);
}

BlackHole::BlackHole()
{
    const int listener = boundSocket();
    sockets.push_back(listener);
    checked(listen(listener, 0), "listen");
    listeningPort = portOf(listener);
    // The queue is full when a connection attempt hangs.
    for (int i = 0; i < 4; ++i) {
        const int connection = newSocket(SOCK_NONBLOCK);
        sockets.push_back(connection);
        const int result = connectTo(listeningPort, connection);
        checked(errno == EINPROGRESS ? 0 : result, "connect");
    }
}

BlackHole::~BlackHole()
{
    for (const int each : sockets)
        close(each);
}

unsigned short ownListeningPort()
{
    for (int fd = 3; fd < 1024; ++fd) {
        int listening = 0;
        socklen_t size = sizeof listening;
        if (getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) == 0 && listening) {
            sockaddr_in address = {};
            socklen_t length = sizeof address;
            if (getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0 && address.sin_family == AF_INET)
                return portOf(fd);
        }
    }
    return 0;
}

} // namespace support
