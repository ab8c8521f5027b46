// HTTP as it comes: the end that a master sees of a recorder and of a recording played back.
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

    /// To be watched for being readable, which a hang-up is too.
    int descriptor() const { return connection; }
    bool hungUp() const;

    /// False if the caller hung up meanwhile, or the slave ends.
    bool waits(std::chrono::milliseconds duration) const;

private:
    int connection;
};

/// Answers requests at /RPC2, one after another. nelka::XmlrpcServer would take each request and each reply apart and
/// put it together again, which changes doubles, line ends and whatever is no XML-RPC.
class Door {
public:
    using Handler = std::function<HttpAnswer(const std::string& request, const Caller& caller)>;

    /// Listens on a port, 0 being a free one, of all IPv4 addresses. Throws std::system_error if it cannot.
    Door(int port, Handler answer);
    ~Door();
    Door(const Door&) = delete;
    Door& operator=(const Door&) = delete;

    int port() const;

    /// Waits for one connection and serves it, or returns when a signal arrives.
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
