// System calls on open files, restarted after a signal unless it ends the run.
#pragma once

#include <string>
#include <string_view>

#include "../restarted.h"
#include "interruption.h"

namespace nelkactl {

class Descriptor {
public:
    explicit Descriptor(int descriptor) : number(descriptor) {}
    ~Descriptor(); ///< closes it, unless it is a standard stream
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    const int number;
};

/// Throws FileError for errno.
[[noreturn]] void fail(const std::string& what, const std::string& name);

template <typename SystemCall>
auto restarted(SystemCall call)
{
    return ::restarted(call, interruption::check);
}

int openFile(const std::string& path, int flags);

/// False if not everything was written; errno says why.
bool writeAll(int descriptor, std::string_view bytes);

} // namespace nelkactl
