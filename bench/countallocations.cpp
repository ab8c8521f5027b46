#include "countallocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

#include <malloc.h>

extern "C" {

// The C library's allocator, under its names for replacements.
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

std::atomic<long> count{0};
std::atomic<long> held{0};
std::atomic<long> peak{0};

void* took(void* memory)
{
    ++count;
    held += static_cast<long>(malloc_usable_size(memory));
    if (held > peak)
        peak = held.load();
    return memory;
}

void gave(void* memory)
{
    held -= static_cast<long>(malloc_usable_size(memory));
}

} // namespace

extern "C" {

void allocationsStart()
{
    count = 0;
    held = 0;
    peak = 0;
}

Allocations allocationsStop()
{
    return {count, peak};
}

void* malloc(std::size_t size)
{
    return took(__libc_malloc(size));
}

void* calloc(std::size_t number, std::size_t size)
{
    return took(__libc_calloc(number, size));
}

void* realloc(void* memory, std::size_t size)
{
    gave(memory);
    return took(__libc_realloc(memory, size));
}

void* memalign(std::size_t alignment, std::size_t size)
{
    return took(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return took(__libc_memalign(alignment, size));
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    *memory = took(__libc_memalign(alignment, size));
    return *memory ? 0 : ENOMEM;
}

void free(void* memory)
{
    gave(memory);
    __libc_free(memory);
}
}
