#include "http.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

int checked(int result, const char* what)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

sockaddr_in loopback(unsigned short port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void sendAtOnce(int descriptor)
{
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

std::size_t contentLength(const std::string& head)
{
    const std::string label = "\r\nContent-Length:";
    for (std::size_t at = 0; (at = head.find("\r\n", at)) != std::string::npos; at += 2) {
        if (strncasecmp(head.c_str() + at, label.c_str(), label.size()) == 0)
            return std::strtoul(head.c_str() + at + label.size(), nullptr, 10);
    }
    return 0;
}

std::string base64(std::size_t size)
{
    // Groups of three zero bytes; what they hold is all one to everybody's decoder.
    std::string text(size / 3 * 4, 'A');
    if (size % 3 == 1)
        text += "AA==";
    if (size % 3 == 2)
        text += "AAA=";
    return text;
}

} // namespace

Connection::Connection(Connection&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

Connection::~Connection()
{
    if (descriptor >= 0)
        close(descriptor);
}

Connection Connection::to(unsigned short port)
{
    Connection connection(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
    const sockaddr_in address = loopback(port);
    checked(connect(connection.descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
    sendAtOnce(connection.descriptor);
    return connection;
}

void Connection::send(const std::string& bytes) const
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = ::send(descriptor, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        sent += static_cast<std::size_t>(checked(static_cast<int>(count), "send"));
    }
}

bool Connection::receive(std::string& message) const
{
    message.resize(std::max<std::size_t>(message.capacity(), 16384));
    std::size_t received = 0;
    std::size_t whole = 0;
    while (whole == 0 || received < whole) {
        const ssize_t count = recv(descriptor, message.data() + received, message.size() - received, 0);
        if (count <= 0)
            return false;
        received += static_cast<std::size_t>(count);
        const std::size_t head = whole == 0 ? message.substr(0, received).find("\r\n\r\n") : std::string::npos;
        if (head != std::string::npos) {
            whole = head + 4 + contentLength(message.substr(0, head + 2));
            message.resize(std::max(message.size(), whole));
        }
    }
    message.resize(whole);
    return true;
}

Listener::Listener() : descriptor(checked(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"))
{
    const sockaddr_in address = loopback(0);
    checked(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
    checked(listen(descriptor, 64), "listen");
}

Listener::~Listener()
{
    close(descriptor);
}

Connection Listener::accept() const
{
    const int accepted = checked(accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC), "accept");
    sendAtOnce(accepted);
    return Connection(accepted);
}

unsigned short Listener::port() const
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    checked(getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
    return ntohs(address.sin_port);
}

std::string reply(std::size_t blockSize)
{
    std::string body =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<methodResponse>\r\n<params>\r\n<param><value><array>"
        "<data>\r\n<value><i4>0</i4></value>\r\n";
    if (blockSize > 0)
        body += "<value><base64>" + base64(blockSize) + "</base64></value>\r\n";
    body += "</data></array></value></param>\r\n</params>\r\n</methodResponse>\r\n";
    return "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " + std::to_string(body.size())
           + "\r\n\r\n" + body;
}

} // namespace bench
