#ifndef NELKANET_SCREENEDTRANSPORT_H
#define NELKANET_SCREENEDTRANSPORT_H

#include <mutex>

#include <xmlrpc-c/client.h>
#include <xmlrpc-c/transport.h>

namespace nelka {

/// While one lives, a client that is created with the transport "curl" looks at each reply before it is parsed: one
/// that is refused ends in a fault XMLRPC_PARSE_ERROR. A client keeps a copy of the transport's table of functions, so
/// those that were, or will be, created at another time are not affected.
class ScreenedTransport {
public:
    ScreenedTransport();
    ~ScreenedTransport();
    ScreenedTransport(const ScreenedTransport&) = delete;
    ScreenedTransport& operator=(const ScreenedTransport&) = delete;

private:
    // The table is the process's.
    const std::lock_guard<std::mutex> alone;
    const xmlrpc_transport_call former;
};

} // namespace nelka

#endif
