// The ways to make one and the same call that are measured beside each other.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace bench {

/// What travels: a few integers, or a block one way.
struct Exchange {
    std::size_t sent;
    std::size_t received;
};

class Caller {
public:
    Caller() = default;
    virtual ~Caller() = default;
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    /// One call and the use of its answer. Throws std::runtime_error unless it went well.
    virtual void call() = 0;
};

/// "nelkanet", "xmlrpc-c", "xmlrpc-c+syslog", "libcurl", and "xmlrpcpp" where that is installed.
std::unique_ptr<Caller> makeCaller(const std::string& name, const Exchange& exchange, unsigned short port);

void require(bool went, const char* what);

/// ROS's client. Its headers need another set of warnings, so it has a separate file.
std::unique_ptr<Caller> makeXmlrpcppCaller(const Exchange& exchange, unsigned short port);

} // namespace bench
