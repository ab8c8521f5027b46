// Many slaves in one process, each on its own port.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "child.h"
#include "scriptedslave.h"

namespace support {

/// Each slave does the same with every request, as its step says; of a step the bytes, the delay and what is done then
/// are followed.
class ManySlaves {
public:
    explicit ManySlaves(const std::vector<Step>& steps);
    ~ManySlaves();
    ManySlaves(const ManySlaves&) = delete;
    ManySlaves& operator=(const ManySlaves&) = delete;

    const std::vector<unsigned short>& ports() const { return listeningPorts; }

    /// The requests that each has received.
    std::vector<std::size_t> requests() const;

    /// The most connections that were open at once.
    std::size_t mostConnections() const;

    void awaitRequests(std::size_t sum) const;

private:
    struct Counts;

    Counts* counts; ///< shared with the slaves
    std::optional<Child> child;
    std::vector<unsigned short> listeningPorts;
};

} // namespace support
