#include "manyslaves.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <list>
#include <numeric>
#include <stdexcept>

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "checked.h"
#include "ports.h"
#include "stopwatch.h"

namespace support {

namespace {

constexpr std::size_t most = 512;

} // namespace

struct ManySlaves::Counts {
    std::atomic<std::size_t> requests[most];
    std::atomic<std::size_t> mostConnections;
};

namespace {

using Clock = std::chrono::steady_clock;

struct Connection {
    int socket;
    std::size_t slave;
    std::string received;
    std::optional<Clock::time_point> due; ///< time of the answer, once a request is complete
};

// The slaves' side: one loop for all.
template <typename Counts>
class Rack {
public:
    Rack(std::vector<int> listening, const std::vector<Step>& given, Counts& kept)
        : listeners(std::move(listening)), steps(given), counts(kept)
    {
    }

    [[noreturn]] void run()
    {
        for (;;) {
            std::vector<pollfd> watched;
            for (const int listener : listeners)
                watched.push_back({listener, POLLIN, 0});
            int wait = -1;
            for (const Connection& one : connections) {
                watched.push_back({one.socket, static_cast<short>(one.due ? 0 : POLLIN), 0});
                if (one.due)
                    wait = std::min(wait < 0 ? 60000 : wait, untilDue(one));
            }
            poll(watched.data(), watched.size(), wait);
            auto events = watched.cbegin() + static_cast<std::ptrdiff_t>(listeners.size());
            for (auto one = connections.begin(); one != connections.end(); ++events)
                one = goOn(*one, events->revents != 0) ? std::next(one) : connections.erase(one);
            for (std::size_t slave = 0; slave < listeners.size(); ++slave)
                if (watched[slave].revents)
                    connections.push_back({accept(listeners[slave], nullptr, nullptr), slave, "", {}});
            counts.mostConnections = std::max(counts.mostConnections.load(), connections.size());
        }
    }

private:
    static int untilDue(const Connection& one)
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*one.due - Clock::now()).count();
        return static_cast<int>(std::max<decltype(left)>(left, 0));
    }

    // Whether the connection stays.
    bool goOn(Connection& one, bool readable)
    {
        if (readable && !one.due && !receive(one))
            return close(one.socket), false;
        if (!one.due || *one.due > Clock::now())
            return true;
        one.due.reset();
        return answer(one, steps[one.slave]);
    }

    bool receive(Connection& one)
    {
        char buffer[65536];
        const ssize_t got = read(one.socket, buffer, sizeof buffer);
        if (got <= 0)
            return false;
        one.received.append(buffer, static_cast<std::size_t>(got));
        const std::size_t size = requestSize(one.received);
        if (size == 0 || one.received.size() < size)
            return true;
        one.received.erase(0, size);
        ++counts.requests[one.slave];
        if (!steps[one.slave].bytes.empty() || steps[one.slave].then != Step::Then::keep)
            one.due = Clock::now() + steps[one.slave].delay;
        return true;
    }

    static bool answer(const Connection& one, const Step& step)
    {
        for (std::size_t sent = 0; sent < step.bytes.size();) {
            const ssize_t now = send(one.socket, step.bytes.data() + sent, step.bytes.size() - sent, MSG_NOSIGNAL);
            if (now <= 0)
                break;
            sent += static_cast<std::size_t>(now);
        }
        if (step.then == Step::Then::keep)
            return true;
        const linger abrupt{step.then == Step::Then::reset, 0};
        setsockopt(one.socket, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
        close(one.socket);
        return false;
    }

    const std::vector<int> listeners;
    const std::vector<Step> steps;
    Counts& counts;
    std::list<Connection> connections;
};

} // namespace

ManySlaves::ManySlaves(const std::vector<Step>& steps)
{
    if (steps.size() > most)
        throw std::length_error("too many slaves");
    void* const shared =
        mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0); // zeroed
    checked(shared == MAP_FAILED ? -1 : 0, "mmap");
    counts = static_cast<Counts*>(shared);
    std::vector<int> listeners;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        listeners.push_back(boundSocket());
        checked(listen(listeners.back(), 128), "listen");
        listeningPorts.push_back(portOf(listeners.back()));
    }
    child.emplace([&] {
        std::signal(SIGINT, SIG_IGN); // Ctrl-C goes to the whole group
        Rack(listeners, steps, *counts).run();
    });
    for (const int listener : listeners)
        close(listener);
}

ManySlaves::~ManySlaves()
{
    child.reset();
    munmap(counts, sizeof *counts);
}

std::vector<std::size_t> ManySlaves::requests() const
{
    return {counts->requests, counts->requests + listeningPorts.size()};
}

std::size_t ManySlaves::mostConnections() const
{
    return counts->mostConnections;
}

void ManySlaves::awaitRequests(std::size_t sum) const
{
    const Stopwatch watch;
    for (;;) {
        const std::vector<std::size_t> all = requests();
        if (std::accumulate(all.begin(), all.end(), std::size_t{0}) >= sum)
            return;
        if (watch.elapsed() > std::chrono::seconds(10))
            throw std::runtime_error("the slaves were not asked");
        poll(nullptr, 0, 1);
    }
}

} // namespace support
