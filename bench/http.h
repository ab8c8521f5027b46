// As much of HTTP as a fixed exchange over loopback needs.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

/// A connected TCP socket.
class Connection {
public:
    explicit Connection(int descriptor_) : descriptor(descriptor_) {}
    Connection(Connection&& other) noexcept;
    Connection& operator=(Connection&&) = delete;
    ~Connection();

    /// To a port of this machine. Throws std::system_error.
    static Connection to(unsigned short port);

    void send(const std::string& bytes) const;

    /// Receives one whole message, head and body, into `message`. False at the end of the connection.
    bool receive(std::string& message) const;

    int handle() const { return descriptor; }

private:
    int descriptor;
};

/// A listening socket on a free port of 127.0.0.1.
class Listener {
public:
    Listener();
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    Connection accept() const;
    unsigned short port() const;
    int handle() const { return descriptor; }

private:
    int descriptor;
};

/// An HTTP reply that carries an XML-RPC array: status 0 and, if `blockSize` is not 0, a block of that many bytes.
std::string reply(std::size_t blockSize);

} // namespace bench
