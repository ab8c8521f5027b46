// A process that is forked from the test.
#pragma once

#include <chrono>
#include <functional>

#include <sys/types.h>

namespace support {

/// Runs `body` in a child process, which ends with it, with this object or with the test, whichever ends first.
class Child {
public:
    explicit Child(const std::function<void()>& body);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t id() const { return child; }

    /// Waits for its end and returns what waitpid() says of it. Kills it when that takes longer than `patience`.
    int end(std::chrono::seconds patience);

private:
    pid_t child;
};

} // namespace support
