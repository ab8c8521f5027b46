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
/// Construct it, call AddFunction() for each method, Start(), then Run() in a loop. Failures are written to the system
/// log only.
///
/// Single-threaded: Run() serves one connection after another and runs the handlers on the calling thread.
class __attribute__((visibility("default"))) XmlrpcServer {
public:
    /// A handler returns a new reference to its reply, or records a fault in the environment and returns null. An
    /// exception that it throws becomes a fault response with -500 and the exception's what(). The arguments are an
    /// XML-RPC array owned by the server; the third parameter is the `userData` of AddFunction(), the fourth xmlrpc-c's
    /// call information, the Abyss session.
    typedef xmlrpc_value* (*Handler)(xmlrpc_env*, xmlrpc_value*, void*, void*);

    XmlrpcServer();
    ~XmlrpcServer();

    XmlrpcServer(const XmlrpcServer&) = delete;
    XmlrpcServer& operator=(const XmlrpcServer&) = delete;

    /// Publishes `handler` under `name`, before or after Start(). `userData` stays the caller's and must outlive the
    /// server. After one call has failed, for example on a duplicate name, all later ones fail too.
    void AddFunction(std::string name, Handler handler, void* userData);

    /// Opens the port given by the low 16 bits of `port`, or a free one for 0; listening() tells whether it worked.
    /// `address` is not used. A connection that sends nothing is dropped after 2 seconds. Called again, it closes the
    /// former port first.
    ///
    /// Process-wide: ignores SIGPIPE from then on. Ends the process if another socket starts to listen on the same port
    /// between the bind and the listen.
    void Start(std::string address, unsigned int port);

    /// Whether Start() opened its port.
    bool listening() const;

    /// Waits for one connection and serves it, or returns on a caught signal. Returns 0; immediately if the server is
    /// not listening. If the process is out of descriptors, it logs one line and returns after 100 ms or a signal.
    ///
    /// In a process with a client, SIGINT and SIGALRM are blocked while a connection is served, except while a Handler
    /// runs. Any other caught signal ends the connection.
    int Run();

    /// Makes the process ignore SIGPIPE, so that writing to a client that has gone fails instead of ending the process.
    /// Called by Start().
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
