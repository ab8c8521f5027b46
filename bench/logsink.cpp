// Listens to the system log and drops what it hears. Says so on standard output once it listens.
#include <cstdio>

#include <sys/socket.h>
#include <sys/un.h>

int main()
{
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM, 0);
    const sockaddr_un address = {AF_UNIX, "/dev/log"};
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        std::perror("/dev/log");
        return 1;
    }
    std::puts("listening");
    std::fflush(stdout);
    char line[8192];
    while (recv(descriptor, line, sizeof line, 0) >= 0) {
    }
}
