// Any bytes from a client to a server, over a real connection: one request is served and the next is answered. Input
// that begins with "POST" is sent as it is, any other as the body of a request.
#include <cstdlib>
#include <string>

#include <sys/socket.h>
#include <unistd.h>

#include <nelkanet/xmlrpcserver.h>

#include "support/ports.h"
#include "support/xml.h"

using support::xml::post;

namespace {

xmlrpc_value* count(xmlrpc_env* env, xmlrpc_value* parameters, void*, void*)
{
    return xmlrpc_build_value(env, "(i)", static_cast<xmlrpc_int32>(xmlrpc_array_size(env, parameters)));
}

struct Served {
    nelka::XmlrpcServer server;
    unsigned short port;

    Served()
    {
        server.AddFunction(nelka::remote::RdHora, count, nullptr);
        server.Start("", 0);
        port = support::ownListeningPort();
        if (port == 0)
            std::abort();
    }

    std::string exchange(const std::string& request)
    {
        const int fd = support::connectedTo(port);
        if (fd < 0 || send(fd, request.data(), request.size(), MSG_NOSIGNAL) < 0)
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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    static Served served;
    static const std::string good =
        post("<?xml version=\"1.0\"?><methodCall><methodName>RdHora</methodName><params/></methodCall>");

    const std::string input(reinterpret_cast<const char*>(data), size);
    if (size > 16000)
        return 0;
    served.exchange(input.starts_with("POST") ? input : post(input));
    if (served.exchange(good).find("<i4>0</i4>") == std::string::npos)
        std::abort();
    return 0;
}
