#include "descriptor.h"

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "failure.h"

namespace nelkactl {

Descriptor::~Descriptor()
{
    if (number > STDERR_FILENO)
        close(number);
}

void fail(const std::string& what, const std::string& name)
{
    throw FileError("cannot " + what + " " + name + ": " + std::strerror(errno));
}

int openFile(const std::string& path, int flags)
{
    return restarted([&] { return open(path.c_str(), flags | O_CLOEXEC, 0666); });
}

bool writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = restarted([&] { return write(descriptor, bytes.data(), bytes.size()); });
        if (written < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace nelkactl
