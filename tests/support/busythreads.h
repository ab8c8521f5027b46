// Other busy threads of the application.
#pragma once

#include <atomic>
#include <cstddef>
#include <latch>
#include <thread>
#include <vector>

namespace support {

/// Threads that compute without a pause, with the signal mask of the constructing thread.
class BusyThreads {
public:
    explicit BusyThreads(std::size_t count) : running(static_cast<std::ptrdiff_t>(count))
    {
        for (std::size_t i = 0; i < count; ++i)
            threads.emplace_back([this] {
                running.count_down();
                while (!done)
                    std::this_thread::yield(); // measure the library, not the scheduler
            });
        running.wait();
    }
    ~BusyThreads()
    {
        done = true;
        for (std::thread& thread : threads)
            thread.join();
    }
    BusyThreads(const BusyThreads&) = delete;
    BusyThreads& operator=(const BusyThreads&) = delete;

private:
    std::atomic<bool> done{false};
    std::latch running;
    std::vector<std::thread> threads;
};

} // namespace support
