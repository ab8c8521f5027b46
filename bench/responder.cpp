// responder BLOCKSIZE: prints its port, then answers every request with the same reply, which contains a block of that
// many bytes unless that is 0.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "reply.h"
#include "support/checked.h"
#include "support/ports.h"
#include "support/xml.h"

using namespace support;

namespace {

std::string response(std::size_t blockSize)
{
    const std::string block(blockSize, '\0');
    const std::string body = bench::reply(blockSize > 0 ? xml::base64(block) + "\r\n" : "");
    return "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " + std::to_string(body.size())
           + "\r\n\r\n" + body;
}

void answer(int connection, const std::string& response)
{
    const int on = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    constexpr std::string_view end = "</methodCall>";
    std::string request;
    char part[65536];
    for (ssize_t size = 0; (size = recv(connection, part, sizeof part, 0)) > 0;) {
        request.append(part, static_cast<std::size_t>(size));
        // Line breaks may follow.
        if (request.size() < end.size() + 2 || request.find(end, request.size() - end.size() - 2) == request.npos)
            continue;
        request.clear();
        for (std::size_t sent = 0; sent < response.size();) {
            const ssize_t count = send(connection, response.data() + sent, response.size() - sent, MSG_NOSIGNAL);
            if (count < 0)
                break;
            sent += static_cast<std::size_t>(count);
        }
    }
    close(connection);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    const std::string reply = response(std::strtoul(argv[1], nullptr, 10));
    const int listener = boundSocket();
    checked(listen(listener, 64), "listen");
    std::printf("%d\n", portOf(listener));
    std::fflush(stdout);
    while (true) {
        const int connection = checked(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC), "accept");
        std::thread([=, &reply] { answer(connection, reply); }).detach();
    }
}
