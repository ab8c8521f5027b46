// load LIBRARY...: prints the nanoseconds that loading them takes.
#include <chrono>
#include <cstdio>

#include <dlfcn.h>

int main(int argc, char** argv)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i < argc; ++i) {
        if (!dlopen(argv[i], RTLD_NOW)) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
    }
    const std::chrono::nanoseconds taken = std::chrono::steady_clock::now() - start;
    std::printf("%lld\n", static_cast<long long>(taken.count()));
}
