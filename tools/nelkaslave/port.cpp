#include "port.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "storage.h"

namespace nelkaslave {

std::set<int> listeningPorts()
{
    std::set<int> ports;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int descriptor = std::stoi(entry.path().filename());
        int listening = 0;
        socklen_t size = sizeof listening;
        if (getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) != 0 || !listening)
            continue;
        sockaddr_in address = {};
        size = sizeof address;
        if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 && address.sin_family == AF_INET)
            ports.insert(ntohs(address.sin_port));
    }
    return ports;
}

std::string whyNotOpened(int port)
{
    const Descriptor attempt(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int reuse = 1;
    setsockopt(attempt.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (attempt && bind(attempt.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return "the system log says why";
    return std::strerror(errno);
}

} // namespace nelkaslave
