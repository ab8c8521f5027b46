// Functions of other libraries that a program of tests stands before, because its symbols come first.
#pragma once

#include <stdexcept>

#include <dlfcn.h>

namespace support {

/// The function of that name that comes after the program's own.
template <typename Function>
Function* next(const char* name)
{
    void* const symbol = dlsym(RTLD_NEXT, name);
    if (!symbol)
        throw std::runtime_error(name);
    return reinterpret_cast<Function*>(symbol);
}

} // namespace support
