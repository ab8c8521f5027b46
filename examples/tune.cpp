// Tunes a terrestrial channel: tune HOST PORT FREQUENCY
#include <cstdlib>
#include <iostream>

#include <nelkanet/xmlrpclient.h>

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::cerr << "usage: tune HOST PORT FREQUENCY\n";
        return 2;
    }
    nelka::XmlrpcClient slave(argv[1], static_cast<unsigned short>(std::atoi(argv[2])), "eth0", "tune", "1.0");
    if (slave.init() != 0) {
        std::cerr << "no client: " << slave.environment().fault_string << '\n';
        return 1;
    }

    nelka::tcanal canal;
    canal.frecuencia = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
    const int parametro = 0;
    const bool indicador = true;
    int status = 0;
    slave.sintonizarCanalTerr(canal, parametro, status, indicador, 3000);

    slave.set_timer(0); // so that no alarm of a failed call comes late
    if (slave.getFault() != 0) {
        std::cerr << "not tuned: ";
        if (slave.environment().fault_occurred)
            std::cerr << slave.environment().fault_string << '\n';
        else
            std::cerr << "the slave refused with " << slave.getFault() << '\n';
        return 1;
    }
    std::cout << "tuned to " << canal.frecuencia << '\n';
}
