// A control loop that treats each kind of failure as what it is, and ends on Ctrl-C: control HOST PORT ROUNDS
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>

#include <xmlrpc-c/base.h>

#include <nelkanet/xmlrpclient.h>

namespace {

enum class Outcome { done, refused, late, broken };

// init() takes SIGINT for itself, to cut calls short. A program that wants to end as well sets a handler of its own
// after each init(), and passes the signal on.
volatile std::sig_atomic_t stopping = 0;

void stop(int signal)
{
    stopping = 1;
    nelka::XmlrpcClient::interruptRpc(signal);
}

bool connect(nelka::XmlrpcClient& slave)
{
    const bool ready = slave.resetConn() == 0;
    std::signal(SIGINT, stop);
    return ready;
}

// The environment tells a fault from a refusal: a slave may refuse with a negative status too.
Outcome outcomeOf(const nelka::XmlrpcClient& slave)
{
    if (!slave.environment().fault_occurred)
        return slave.getFault() == 0 ? Outcome::done : Outcome::refused;
    return slave.getFault() == XMLRPC_TIMEOUT_ERROR ? Outcome::late : Outcome::broken;
}

// Whether to go on.
bool settle(nelka::XmlrpcClient& slave)
{
    switch (outcomeOf(slave)) {
    case Outcome::done:
        std::cout << "done\n";
        return true;
    case Outcome::refused:
        // The slave is well and said no: asking again would not change its mind.
        std::cout << "refused with " << slave.getFault() << '\n';
        return true;
    case Outcome::late:
        // It may still have done what was asked; the next round asks again.
        std::cout << "no answer in time\n";
        return true;
    case Outcome::broken:
        std::cout << "broken: " << slave.environment().fault_string << '\n';
        return connect(slave);
    }
    return false;
}

bool ask(nelka::XmlrpcClient& slave)
{
    std::string alarmas;
    int status = 0;
    try {
        slave.getAlarmasEstadoControlador(alarmas, status, 1000);
    } catch (const std::logic_error& missingText) {
        std::cout << "broken: " << missingText.what() << '\n';
        return true;
    }
    // After a fault the alarm of the call is still armed; stopped here, it does not get in the way of what follows.
    slave.set_timer(0);
    return stopping || settle(slave);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::cerr << "usage: control HOST PORT ROUNDS\n";
        return 2;
    }
    nelka::XmlrpcClient slave(argv[1], static_cast<unsigned short>(std::atoi(argv[2])), "eth0", "control", "1.0");
    if (!connect(slave))
        return 1;
    const int rounds = std::atoi(argv[3]);
    for (int round = 1; round <= rounds && !stopping; ++round) {
        std::cout << "round " << round << ": ";
        if (!ask(slave))
            return 1;
    }
    if (stopping)
        std::cout << "interrupted\n";
}
