// A process without free descriptors.
#pragma once

#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace support {

/// Leaves the process `left` free descriptors during its lifetime.
class DescriptorShortage {
public:
    explicit DescriptorShortage(int left = 0)
    {
        getrlimit(RLIMIT_NOFILE, &former);
        const rlimit few = {enough, former.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
        for (int taken; (taken = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
            all.push_back(taken);
        for (; left > 0; --left)
            giveOneBack();
    }
    ~DescriptorShortage()
    {
        while (!all.empty())
            giveOneBack();
        setrlimit(RLIMIT_NOFILE, &former);
    }
    DescriptorShortage(const DescriptorShortage&) = delete;
    DescriptorShortage& operator=(const DescriptorShortage&) = delete;

    void giveOneBack()
    {
        close(all.back());
        all.pop_back();
    }

private:
    static constexpr rlim_t enough = 256;

    rlimit former{};
    std::vector<int> all;
};

} // namespace support
