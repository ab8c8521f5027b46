// Many slaves in one process, each on its own port.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "child.h"
#include "scriptedslave.h"

namespace support {

/// Each slave handles every request as its step says, but follows only bytes, delay and `then`.
class ManySlaves {
public:
    explicit ManySlaves(const std::vector<Step>& steps);
    ~ManySlaves();
    ManySlaves(const ManySlaves&) = delete;
    ManySlaves& operator=(const ManySlaves&) = delete;

    const std::vector<unsigned short>& ports() const { return listeningPorts; }

    /// The number of requests that each has received.
    std::vector<std::size_t> requests() const;

    /// The highest number of simultaneous connections.
    std::size_t mostConnections() const;

    void awaitRequests(std::size_t sum) const;

private:
    struct Counts;

    Counts* counts; ///< shared with the slaves
    std::optional<Child> child;
    std::vector<unsigned short> listeningPorts;
};

} // namespace support
