// responder BLOCKSIZE: prints its port, then gives every request the same reply, on any number of connections.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <poll.h>

#include "http.h"

int main(int, char** argv)
{
    const bench::Listener listener;
    const std::string reply = bench::reply(std::strtoul(argv[1], nullptr, 10));
    std::printf("%d\n", listener.port());
    std::fflush(stdout);

    std::vector<bench::Connection> connections;
    std::vector<pollfd> watched = {{listener.handle(), POLLIN, 0}};
    std::string request;
    while (poll(watched.data(), watched.size(), -1) > 0) {
        if (watched[0].revents) {
            connections.push_back(listener.accept());
            watched.push_back({connections.back().handle(), POLLIN, 0});
        }
        for (std::size_t i = 1; i < watched.size(); ++i) {
            if (!watched[i].revents)
                continue;
            if (connections[i - 1].receive(request))
                connections[i - 1].send(reply);
            else
                watched[i].fd = -1;
        }
    }
}
