// Restarts interrupted system calls.
#pragma once

#include <cerrno>

/// Repeats `call` while a signal interrupts it, with `before` ahead of each repetition.
template <typename Call, typename Before>
auto restarted(Call call, Before before)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        before();
        result = call();
    }
    return result;
}

template <typename Call>
auto restarted(Call call)
{
    return restarted(call, [] {});
}
