// System calls that are not expected to fail.
#pragma once

#include <cerrno>
#include <system_error>

namespace support {

/// The result of `call`, unless it failed.
inline int checked(int result, const char* call)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), call);
    return result;
}

} // namespace support
