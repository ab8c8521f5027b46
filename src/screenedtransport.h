#ifndef NELKANET_SCREENEDTRANSPORT_H
#define NELKANET_SCREENEDTRANSPORT_H

#include <mutex>

#include <xmlrpc-c/client.h>
#include <xmlrpc-c/transport.h>

namespace nelka {

/// A client created with the transport "curl" during its lifetime screens each reply; a refused one ends in a fault
/// XMLRPC_PARSE_ERROR. A client copies the transport's table of functions, so other clients are not affected.
class ScreenedTransport {
public:
    ScreenedTransport();
    ~ScreenedTransport();
    ScreenedTransport(const ScreenedTransport&) = delete;
    ScreenedTransport& operator=(const ScreenedTransport&) = delete;

private:
    // The table belongs to the process.
    const std::lock_guard<std::mutex> alone;
    const xmlrpc_transport_call former;
};

} // namespace nelka

#endif
