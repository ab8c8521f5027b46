#include "port.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

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

Descriptor listeningOn(int port)
{
    Descriptor opened(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int reuse = 1;
    setsockopt(opened.get(), SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (!opened || bind(opened.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || listen(opened.get(), SOMAXCONN) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot listen on port " + std::to_string(port));
    return opened;
}

std::string whyNotOpened(int port)
try {
    listeningOn(port);
    return "the system log says why";
} catch (const std::system_error& error) {
    return error.code().message();
}

} // namespace nelkaslave
