#include "door.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include "ending.h"
#include "port.h"

namespace nelkaslave {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t largestRequest = 16U << 20U;
constexpr xmlrpc_uint32_t silenceSeconds = 2;

// False if the request ends before that.
bool readBody(TSession* session, std::size_t length, std::string& body)
{
    for (;;) {
        const char* start = nullptr;
        std::size_t got = 0;
        SessionGetReadData(session, length - body.size(), &start, &got);
        body.append(start, got);
        if (body.size() == length)
            return true;
        if (!SessionRefillBuffer(session))
            return false;
    }
}

void refuse(TSession* session, xmlrpc_uint16_t status)
{
    ResponseStatus(session, status);
    ResponseError(session);
}

void send(TSession* session, const HttpAnswer& answer)
{
    ResponseStatus(session, static_cast<xmlrpc_uint16_t>(answer.status));
    if (!answer.type.empty())
        ResponseContentType(session, answer.type.c_str());
    ResponseContentLength(session, answer.body.size());
    ResponseWriteStart(session);
    ResponseWriteBody(session, answer.body.data(), static_cast<xmlrpc_uint32_t>(answer.body.size()));
    ResponseWriteEnd(session);
}

} // namespace

bool Caller::hungUp() const
{
    char next = 0;
    const ssize_t got = recv(connection, &next, 1, MSG_PEEK | MSG_DONTWAIT);
    return got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR);
}

bool Caller::waits(milliseconds duration) const
{
    const auto end = std::chrono::steady_clock::now() + duration;
    pollfd watched{connection, POLLIN, 0};
    while (!ending()) {
        const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return true;
        if (poll(&watched, 1, static_cast<int>(std::min<milliseconds::rep>(left.count(), 100))) <= 0)
            continue;
        if (hungUp())
            return false;
        watched.fd = -1; // it sends more than a request and would stay readable
    }
    return false;
}

Door::Door(int port, Handler answer) : listening(listeningOn(port)), handler(std::move(answer))
{
    ServerCreateNoAccept(&server, "NelkaXMLRPCServer", "/", "/dev/null");
    ServerSetTimeout(&server, silenceSeconds);
    ServerSetKeepaliveTimeout(&server, silenceSeconds);
    ServerSetAdvertise(&server, false);
    const ServerReqHandler3 description = {nullptr, handle, this, 0};
    abyss_bool added = false;
    ServerAddHandler3(&server, &description, &added);
    if (!added)
        throw std::runtime_error("cannot set up the server");
    std::signal(SIGPIPE, SIG_IGN); // writing to a caller that has gone fails instead
}

Door::~Door()
{
    ServerFree(&server);
}

int Door::port() const
{
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    getsockname(listening.get(), reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void Door::serve()
{
    pollfd watched{listening.get(), POLLIN, 0};
    if (poll(&watched, 1, -1) <= 0)
        return;
    const Descriptor accepted(accept4(listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!accepted) {
        poll(nullptr, 0, 100); // out of descriptors, it would spin
        return;
    }
    connection = accepted.get();

    TChannel* channel = nullptr;
    abyss_unix_chaninfo* peer = nullptr;
    const char* error = nullptr;
    ChannelUnixCreateFd(connection, &channel, &peer, &error);
    if (!error) {
        ServerRunChannel(&server, channel, peer, &error);
        ChannelDestroy(channel);
        std::free(peer);
    }
    if (error)
        std::fprintf(stderr, "nelkaslave: %s\n", error);
    std::free(const_cast<char*>(error));
}

void Door::handle(void* door, TSession* session, abyss_bool* handled)
{
    *handled = true;
    static_cast<const Door*>(door)->answer(session);
}

void Door::answer(TSession* session) const
{
    const TRequestInfo* request = nullptr;
    SessionGetRequestInfo(session, &request);
    if (std::string_view(request->uri) != "/RPC2")
        return refuse(session, 404);
    if (request->method != m_post)
        return refuse(session, 405);
    const char* const header = RequestHeaderValue(session, "content-length");
    const std::string_view digits = header ? header : "";
    std::size_t length = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), length).ec != std::errc())
        return refuse(session, 411);
    if (length > largestRequest)
        return refuse(session, 413);
    std::string body;
    if (!readBody(session, length, body))
        return refuse(session, 408);
    send(session, handler(body, Caller(connection)));
}

} // namespace nelkaslave
