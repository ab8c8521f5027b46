// Plain HTTP: the master's side of a recorder or of a replay.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include <xmlrpc-c/abyss.h>

#include "behave.h"
#include "storage.h"

namespace nelkaslave {

/// The connection that a request came on.
class Caller {
public:
    explicit Caller(int connected) : connection(connected) {}

    /// To poll for reading, which reports a hang-up too.
    int descriptor() const { return connection; }
    bool hungUp() const;

    /// False if the caller has hung up or the slave ends.
    bool waits(std::chrono::milliseconds duration) const;

private:
    int connection;
};

/// Answers requests at /RPC2, one after another. nelka::XmlrpcServer would parse and rewrite each request and reply,
/// which changes doubles and line ends and loses whatever is not XML-RPC.
class Door {
public:
    using Handler = std::function<HttpAnswer(const std::string& request, const Caller& caller)>;

    /// Listens on a port, or on a free one for 0, of all IPv4 addresses. Throws std::system_error.
    Door(int port, Handler answer);
    ~Door();
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;

    int port() const;

    /// Waits for one connection and serves it, or returns on a signal.
    void serve();

private:
    static void handle(void* door, TSession* session, abyss_bool* handled);
    void answer(TSession* session) const;

    Descriptor listening;
    Handler handler;
    TServer server{};
    int connection = -1;
};

} // namespace nelkaslave
