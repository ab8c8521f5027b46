// The ways to make one and the same call that are measured beside each other.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <time.h>

namespace bench {

/// What travels: a few integers, or a block one way.
struct Exchange {
    std::string name;
    std::size_t sent;
    std::size_t received;
};

const std::vector<Exchange>& exchanges();
const Exchange& exchangeNamed(const std::string& name);

class Caller {
public:
    Caller() = default;
    virtual ~Caller() = default;
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    /// One call and the use of its answer. Throws std::runtime_error unless it went well.
    virtual void call() = 0;

    virtual void calls(std::size_t count)
    {
        while (count-- > 0)
            call();
    }

    /// The clock of the processor time that calls take.
    virtual clockid_t processorClock() const { return CLOCK_PROCESS_CPUTIME_ID; }
};

/// Those that can be built here, the library's own first.
const std::vector<std::string>& callerNames();

std::unique_ptr<Caller> makeCaller(const std::string& name, const Exchange& exchange, unsigned short port);

/// The floor for a server that closes after each call: connects, sends what xmlrpc-c sends, receives, closes.
std::unique_ptr<Caller> makeReconnectingCaller(const Exchange& exchange, unsigned short port);

void require(bool went, const char* what);

/// For a connection to ROS's client, in a separate file: its headers need another set of warnings.
std::unique_ptr<Caller> makeXmlrpcppCaller(const Exchange& exchange, unsigned short port);

} // namespace bench
