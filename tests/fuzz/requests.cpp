// Whatever a client sends to a server, over a real connection: one request is served and the next is answered.
// Input that begins with "POST" goes out as it is, any other as the body of a request.
#include <cstdlib>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nelkanet/xmlrpcserver.h>

#include "filter.h"
#include "support/scriptedslave.h"

namespace {

xmlrpc_value* count(xmlrpc_env* env, xmlrpc_value* parameters, void*, void*)
{
    return xmlrpc_build_value(env, "(i)", static_cast<xmlrpc_int32>(xmlrpc_array_size(env, parameters)));
}

struct Peer {
    nelka::XmlrpcServer server;
    unsigned short port;

    Peer()
    {
        server.AddFunction(nelka::remote::RdHora, count, nullptr);
        server.Start("", 0);
        port = support::ownListeningPort();
        if (port == 0)
            std::abort();
    }

    std::string exchange(const std::string& request)
    {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            std::abort();
        if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) < 0)
            std::abort();
        shutdown(fd, SHUT_WR);
        server.Run();
        std::string answer;
        char buffer[4096];
        for (ssize_t got = 0; (got = read(fd, buffer, sizeof buffer)) > 0;)
            answer.append(buffer, static_cast<std::size_t>(got));
        close(fd);
        return answer;
    }
};

std::string post(const std::string& body)
{
    return "POST /RPC2 HTTP/1.1\r\nHost: x\r\nContent-Type: text/xml\r\nContent-Length: " + std::to_string(body.size())
           + "\r\n\r\n" + body;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    static Peer peer;
    static const std::string good =
        post("<?xml version=\"1.0\"?><methodCall><methodName>RdHora</methodName><params/></methodCall>");

    const std::string input(reinterpret_cast<const char*>(data), size);
    if (size > 16000 || fuzz::crashesTheDependency(input))
        return 0;
    peer.exchange(input.starts_with("POST") ? input : post(input));
    if (peer.exchange(good).find("<i4>0</i4>") == std::string::npos)
        std::abort();
    return 0;
}
