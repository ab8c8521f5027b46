// startup ROUNDS LIBRARY: how long the loader takes for that library, and for the parts of xmlrpc-c by themselves, each
// time in a fresh process. Prints nanoseconds as JSON.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

long loading(const std::vector<std::string>& libraries)
{
    int ends[2];
    if (pipe(ends) != 0)
        std::exit(1);
    const pid_t child = fork();
    if (child == 0) {
        const auto start = std::chrono::steady_clock::now();
        for (const std::string& library : libraries) {
            if (!dlopen(library.c_str(), RTLD_NOW)) {
                std::fprintf(stderr, "%s\n", dlerror());
                _exit(1);
            }
        }
        const long taken = std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
        _exit(write(ends[1], &taken, sizeof taken) == sizeof taken ? 0 : 1);
    }
    close(ends[1]);
    long taken = 0;
    const bool told = read(ends[0], &taken, sizeof taken) == sizeof taken;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    if (!told)
        std::exit(1);
    return taken;
}

void print(const char* name, const std::vector<long>& times)
{
    std::printf("\"%s\": [", name);
    for (std::size_t i = 0; i < times.size(); ++i)
        std::printf("%s%ld", i == 0 ? "" : ", ", times[i]);
    std::printf("]");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
        return 2;
    std::vector<long> ours, raw;
    for (long round = std::strtol(argv[1], nullptr, 10); round > 0; --round) {
        ours.push_back(loading({argv[2]}));
        raw.push_back(loading({"libxmlrpc_client.so.3", "libxmlrpc_server_abyss.so.3"}));
    }
    std::printf("{");
    print("nelkanet", ours);
    std::printf(", ");
    print("xmlrpc-c", raw);
    std::printf("}\n");
}
