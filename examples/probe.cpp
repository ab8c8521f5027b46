// Probes a slave, and shows the outcome and the log lines: probe HOST PORT TIMEOUT
#include <cstdlib>
#include <iostream>

#include <syslog.h>

#include <nelkanet/xmlrpclient.h>

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::cerr << "usage: probe HOST PORT TIMEOUT\n";
        return 2;
    }
    // The library never opens the log: the program chooses its name and destination.
    openlog("probe", LOG_PERROR, LOG_USER);
    nelka::XmlrpcClient slave(argv[1], static_cast<unsigned short>(std::atoi(argv[2])), "eth0", "probe", "1.0");
    if (slave.init() != 0)
        return 1;
    slave.sampleadd(std::atoi(argv[3]));
    slave.set_timer(0); // so that no alarm of a failed call comes late
    std::cout << "\nfault state " << slave.getFault() << std::endl;
    return slave.getFault() == 0 ? 0 : 1;
}
