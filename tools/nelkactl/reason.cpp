#include "reason.h"

#include <memory>
#include <string_view>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace nelkactl {

namespace {

// A slave's fault response may have any code; xmlrpc-c marks it only by this text.
constexpr std::string_view faultResponse = "RPC failed at server.";

bool isConnectionRefused(const addrinfo& address)
{
    const int connection = socket(address.ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    int error = connect(connection, address.ai_addr, address.ai_addrlen) == 0 ? 0 : errno;
    pollfd writable = {connection, POLLOUT, 0};
    socklen_t size = sizeof error;
    if (error == EINPROGRESS && poll(&writable, 1, 1000) == 1)
        getsockopt(connection, SOL_SOCKET, SO_ERROR, &error, &size);
    close(connection);
    return error == ECONNREFUSED;
}

// libcurl reports a closed port and an unreachable host alike, so this tries to connect again.
std::string reasonOfNoConnection(std::string_view text, const Options& options)
{
    const std::string port = std::to_string(options.port);
    if (text.find(" " + options.host + " port " + port) == std::string_view::npos)
        return "no connection to the proxy";
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(options.host.c_str(), port.c_str(), &wanted, &found) != 0)
        return "no connection";
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, freeaddrinfo);
    for (const addrinfo* address = found; address; address = address->ai_next)
        if (isConnectionRefused(*address))
            return "nobody listens there";
    return "no route to the host, or it is off";
}

std::string reasonOfTransport(std::string_view text, const Options& options)
{
    const auto says = [text](std::string_view words) { return text.find(words) != std::string_view::npos; };
    if (says("Could not resolve host"))
        return "the name does not resolve";
    if (says("Failed to connect"))
        return reasonOfNoConnection(text, options);
    if (says("timed out"))
        return "no answer within the transport's own limit of 17 seconds; --timeout " + std::to_string(options.timeout)
               + (options.timeout == 0 ? " sets no other" : " is longer");
    if (says("Recv failure") || says("Send failure") || says("Empty reply") || says("transfer closed"))
        return "the connection was cut";
    if (says("HTTP response code"))
        return "something other than a slave answers there";
    return "the transport failed";
}

std::string wordsOf(const xmlrpc_env& env, const Options& options)
{
    switch (env.fault_code) {
    case XMLRPC_NETWORK_ERROR:
        return reasonOfTransport(env.fault_string, options);
    case XMLRPC_PARSE_ERROR:
        return "the reply is not XML-RPC";
    case XMLRPC_TYPE_ERROR:
    case XMLRPC_INDEX_ERROR:
        return "the reply does not have the shape of " + options.operation;
    case XMLRPC_LIMIT_EXCEEDED_ERROR:
        return "the reply is larger than 1 MiB";
    case XMLRPC_INVALID_UTF8_ERROR:
        return "a text is not valid UTF-8, or has a character beyond U+FFFD";
    default:
        return options.operation == "DlFicheroEsclavo" ? "no DlFicheroEsclavo can ever be sent"
                                                       : "the call could not be made";
    }
}

} // namespace

bool isFaultResponse(const xmlrpc_env& env)
{
    return env.fault_occurred && std::string_view(env.fault_string).starts_with(faultResponse);
}

std::string reasonOf(const xmlrpc_env& env, const Options& options)
{
    const std::string words = isFaultResponse(env) ? "the slave answered with a fault" : wordsOf(env, options);
    return words + " (" + env.fault_string + ", " + std::to_string(env.fault_code) + ")";
}

} // namespace nelkactl
