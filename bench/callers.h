// The measured ways to make the same call.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace bench {

/// What is sent and received: a few integers, or a block one way.
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

    /// Makes one call and decodes its answer. Throws std::runtime_error if it fails.
    virtual void call() = 0;
};

/// "nelkanet", "xmlrpc-c", "xmlrpc-c+syslog", "libcurl", and "xmlrpcpp" if installed.
std::unique_ptr<Caller> makeCaller(const std::string& name, const Exchange& exchange, unsigned short port);

void require(bool went, const char* what);

/// ROS's client. It has a separate file because its headers need other warnings.
std::unique_ptr<Caller> makeXmlrpcppCaller(const Exchange& exchange, unsigned short port);

} // namespace bench
