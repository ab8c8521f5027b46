// Functions of other libraries that a test program replaces, because its symbols come first.
#pragma once

#include <stdexcept>

#include <dlfcn.h>

namespace support {

/// The function that the program's own replaces.
template <typename Function>
Function* next(const char* name)
{
    void* const symbol = dlsym(RTLD_NEXT, name);
    if (!symbol)
        throw std::runtime_error(name);
    return reinterpret_cast<Function*>(symbol);
}

} // namespace support
