// A server that returns what it receives.
#pragma once

#include <string>

#include <malloc.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <nelkanet/xmlrpcserver.h>

#include "documents.h"
#include "limits.h"
#include "support/ports.h"
#include "support/stopwatch.h"

namespace hostile {

inline xmlrpc_value* echo(xmlrpc_env*, xmlrpc_value* parameters, void*, void*)
{
    xmlrpc_INCREF(parameters);
    return parameters;
}

// Returns what it receives, and accepts as much as a process that is also a master.
inline void publishEcho(nelka::XmlrpcServer& server)
{
    mallopt(M_PERTURB, 0xA5); // makes uninitialised memory non-zero
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, 1'048'576);
    server.AddFunction("eco", echo, nullptr);
}

/// Sends as much as possible and reads until the other side closes, or until patience runs out.
inline std::string answerTo(const std::string& request, Message::Then then, unsigned short port)
{
    const int connection = support::connectedTo(port);
    if (connection < 0)
        return "";
    std::size_t sent = 0;
    std::string answer;
    for (const support::Stopwatch watch; watch.elapsed() < patience();) {
        const bool sending = sent < request.size();
        pollfd watched{connection, static_cast<short>(sending ? POLLIN | POLLOUT : POLLIN), 0};
        if (poll(&watched, 1, 100) <= 0)
            continue;
        if (sending && (watched.revents & POLLOUT) != 0) {
            const ssize_t taken =
                send(connection, request.data() + sent, request.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (taken > 0)
                sent += static_cast<std::size_t>(taken);
            if (sent == request.size() && then == Message::Then::close)
                shutdown(connection, SHUT_WR);
        }
        if ((watched.revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
            char buffer[65536];
            const ssize_t got = recv(connection, buffer, sizeof buffer, MSG_DONTWAIT);
            if (got <= 0)
                break;
            answer.append(buffer, static_cast<std::size_t>(got));
        }
    }
    close(connection);
    return answer;
}

} // namespace hostile
