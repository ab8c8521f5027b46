// The smallest slave, which knows only the time: slave PORT
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <iostream>

#include <nelkanet/xmlrpcserver.h>

namespace {

volatile std::sig_atomic_t stopping = 0;

// A reply is an array that begins with the status; 0 is success.
xmlrpc_value* readClock(xmlrpc_env* env, xmlrpc_value*, void*, void*)
{
    return xmlrpc_build_value(env, "(iI)", static_cast<xmlrpc_int32>(0), static_cast<xmlrpc_int64>(std::time(nullptr)));
}

void stop(int)
{
    stopping = 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: slave PORT\n";
        return 2;
    }
    nelka::XmlrpcServer server;
    server.AddFunction(nelka::remote::RdHora, readClock, nullptr);
    server.Start("", static_cast<unsigned int>(std::atoi(argv[1])));
    if (!server.listening()) {
        std::cerr << "cannot listen on port " << argv[1] << "; the system log says why\n";
        return 1;
    }

    // A caught signal ends the wait for a connection. One that lands just before the wait is noticed only after the
    // next connection; nelkaslave shows how to avoid that.
    struct sigaction action = {};
    action.sa_handler = stop;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::cout << "listening" << std::endl;
    while (!stopping)
        server.Run();
}
