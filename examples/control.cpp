// A control loop that treats each kind of failure as what it is: control HOST PORT ROUNDS
#include <cstdlib>
#include <exception>
#include <iostream>

#include <xmlrpc-c/base.h>

#include <nelkanet/xmlrpclient.h>

namespace {

enum class Outcome { done, refused, late, broken };

// Told from the environment rather than from the number: a slave may refuse with a negative status too.
Outcome outcomeOf(const nelka::XmlrpcClient& slave)
{
    if (slave.getFault() == 0)
        return Outcome::done;
    if (slave.getFault() == XMLRPC_TIMEOUT_ERROR)
        return Outcome::late;
    return slave.environment().fault_occurred ? Outcome::broken : Outcome::refused;
}

bool settle(nelka::XmlrpcClient& slave, int round)
{
    switch (outcomeOf(slave)) {
    case Outcome::done:
        std::cout << "round " << round << ": done\n";
        return true;
    case Outcome::refused:
        // The slave is well and said no: asking again would not change its mind.
        std::cout << "round " << round << ": refused with " << slave.getFault() << '\n';
        return true;
    case Outcome::late:
        // It may still have done what was asked; the next round asks again.
        std::cout << "round " << round << ": no answer in time\n";
        return true;
    case Outcome::broken:
        // The alarm of the call is still armed: stop it before anything is logged.
        slave.set_timer(0);
        std::cout << "round " << round << ": " << slave.environment().fault_string << '\n';
        return slave.resetConn() == 0;
    }
    return false;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::cerr << "usage: control HOST PORT ROUNDS\n";
        return 2;
    }
    nelka::XmlrpcClient slave(argv[1], static_cast<unsigned short>(std::atoi(argv[2])), "eth0", "control", "1.0");
    if (slave.init() != 0)
        return 1;
    const int rounds = std::atoi(argv[3]);
    for (int round = 1; round <= rounds; ++round) {
        try {
            std::string alarmas;
            int status = 0;
            slave.getAlarmasEstadoControlador(alarmas, status, 1000);
        } catch (const std::exception& missingText) {
            std::cout << "round " << round << ": " << missingText.what() << '\n';
            continue;
        }
        if (!settle(slave, round))
            return 1;
    }
}
