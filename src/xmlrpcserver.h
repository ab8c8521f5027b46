// The slave's end: publishes functions as XML-RPC methods over HTTP.
#ifndef NELKANET_XMLRPCSERVER_H
#define NELKANET_XMLRPCSERVER_H

#include <string>

#include <xmlrpc-c/abyss.h>
#include <xmlrpc-c/base.h>
#include <xmlrpc-c/server.h>

#include "remotemethods.h"
#include "version.h"

namespace nelka {

/// An XML-RPC server at the path "/RPC2" of one TCP port, on all IPv4 addresses.
///
/// Construct, AddFunction() for each method, Start(), then Run() in a loop of the application's own. Failures are
/// written to the system log and nowhere else.
///
/// Single-threaded: Run() serves one connection after another, and handlers run, on the calling thread.
class __attribute__((visibility("default"))) XmlrpcServer {
public:
    /// A handler returns a new reference to its reply, or records a fault in the environment and returns null. An
    /// exception that it throws becomes a fault response with -500 and the exception's what(). The
    /// arguments are an XML-RPC array that stays the server's; the third parameter is the `userData` of
    /// AddFunction(), the fourth xmlrpc-c's call information, the Abyss session.
    typedef xmlrpc_value* (*Handler)(xmlrpc_env*, xmlrpc_value*, void*, void*);

    XmlrpcServer();
    ~XmlrpcServer();

    XmlrpcServer(const XmlrpcServer&) = delete;
    XmlrpcServer& operator=(const XmlrpcServer&) = delete;

    /// Publishes `handler` under `name`, before or after Start(). `userData` stays the caller's and must live as
    /// long as the server. Once one has failed (a name registered twice, say), later ones fail too.
    void AddFunction(std::string name, Handler handler, void* userData);

    /// Opens the low 16 bits of `port`, 0 being a free one; listening() tells whether that worked. `address` is
    /// not used. A connection that sends nothing is dropped after 2 seconds. Called again, closes the former port
    /// first.
    ///
    /// Process-wide: ignores SIGPIPE from now on. Ends the process when another socket starts to listen on the same
    /// port between the bind and the listen.
    void Start(std::string address, unsigned int port);

    /// Whether Start() opened its port.
    bool listening() const;

    /// Waits for one connection and serves it, or returns when a signal arrives that is caught. Returns 0, at once
    /// while the server is not listening. When the process has no free descriptor for a connection, it logs one line
    /// and returns after 100 ms or a signal.
    int Run();

    /// Makes the process ignore SIGPIPE, so that a client that goes away early is a failed write. Called by Start().
    void setupSignalHandlers();

private:
    __attribute__((visibility("hidden"))) void closePort();

    TServer server;
    TChanSwitch* chanSwitch;
    xmlrpc_registry* registry;
    xmlrpc_env env;
    bool serverCreated;
};

} // namespace nelka

#endif
