// A child process of the test.
#pragma once

#include <chrono>
#include <functional>

#include <sys/types.h>

namespace support {

/// Runs `body` in a child process, which ends with `body`, this object or the test.
class Child {
public:
    explicit Child(const std::function<void()>& body);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t id() const { return child; }

    /// Waits for its end and returns its status from waitpid(). Kills it after `patience`.
    int end(std::chrono::seconds patience);

private:
    pid_t child;
};

} // namespace support
