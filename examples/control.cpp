// A control loop that handles each kind of failure and ends on Ctrl-C: control HOST PORT ROUNDS
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>

#include <sys/signalfd.h>
#include <unistd.h>

#include <xmlrpc-c/base.h>

#include <nelkanet/xmlrpclient.h>

namespace {

enum class Outcome { done, refused, late, broken };

// init() takes over SIGINT, and its handler logs wherever the signal lands. A program that blocks SIGINT in every
// thread and reads it instead is never interrupted; it cuts the running call itself.
std::atomic<bool> stopping{false};

void awaitInterrupt(int descriptor)
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr); // alarms must reach the calling thread
    signalfd_siginfo taken;
    while (read(descriptor, &taken, sizeof taken) != sizeof taken) {
    }
    stopping = true;
    nelka::XmlrpcClient::interruptRpc(SIGINT);
}

// Call this before starting other threads, so that they inherit the signal mask.
bool watchForInterrupt()
{
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupts, nullptr);
    const int descriptor = signalfd(-1, &interrupts, SFD_CLOEXEC);
    if (descriptor >= 0)
        std::thread(awaitInterrupt, descriptor).detach();
    return descriptor >= 0;
}

// The environment tells a fault from a refusal: a slave may refuse with a negative status too.
Outcome outcomeOf(const nelka::XmlrpcClient& slave)
{
    if (!slave.environment().fault_occurred)
        return slave.getFault() == 0 ? Outcome::done : Outcome::refused;
    return slave.getFault() == XMLRPC_TIMEOUT_ERROR ? Outcome::late : Outcome::broken;
}

// Returns false if the loop must end.
bool settle(nelka::XmlrpcClient& slave)
{
    switch (outcomeOf(slave)) {
    case Outcome::done:
        std::cout << "done\n";
        return true;
    case Outcome::refused:
        // The slave refused: repeating the call would not help.
        std::cout << "refused with " << slave.getFault() << '\n';
        return true;
    case Outcome::late:
        // The slave may have carried out the call; the next round repeats it.
        std::cout << "no answer in time\n";
        return true;
    case Outcome::broken:
        std::cout << "broken: " << slave.environment().fault_string << '\n';
        return slave.resetConn() == 0;
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
    // After a fault the alarm of the call is still armed: stop it, so that it interrupts nothing later.
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
    if (!watchForInterrupt() || slave.init() != 0)
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
