// Keeps a copy of one table of a slave's database and prints it after each change, for POLLS polls or until Ctrl-C:
//     mirror HOST PORT DATABASE QUERY POLLS
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <thread>

#include <nelkanet/xmlrpclient.h>

namespace {

constexpr int timeoutMs = 3000;
constexpr std::chrono::milliseconds pollInterval(200);

// init() takes over SIGINT to cut calls short; a handler installed afterwards passes the signal on.
volatile std::sig_atomic_t stopping = 0;

void stop(int signal)
{
    stopping = 1;
    nelka::XmlrpcClient::interruptRpc(signal);
}

void print(const nelkadb::ResultSet& table)
{
    for (std::size_t column = 0; column < table.columnCount(); ++column)
        std::cout << (column ? "\t" : "") << table.columnName(column);
    std::cout << '\n';
    for (std::size_t row = 0; row < table.rowCount(); ++row) {
        for (std::size_t column = 0; column < table.columnCount(); ++column)
            std::cout << (column ? "\t" : "") << (table.isNull(row, column) ? "-" : table.value(row, column));
        std::cout << '\n';
    }
    std::cout << std::endl;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 6) {
        std::cerr << "usage: mirror HOST PORT DATABASE QUERY POLLS\n";
        return 2;
    }
    nelka::XmlrpcClient slave(argv[1], static_cast<unsigned short>(std::atoi(argv[2])), "eth0", "mirror", "1.0");
    if (slave.init() != 0)
        return 1;
    std::signal(SIGINT, stop);
    slave.dbName = argv[3];

    nelkadb::ResultSet table;
    int mirrored = -1;
    for (int poll = std::atoi(argv[5]); poll > 0 && !stopping; --poll) {
        int changes = mirrored;
        slave.xmlrpc_changes(changes, timeoutMs);
        if (slave.getFault() == 0 && changes != mirrored) {
            slave.getTable(argv[4], table, timeoutMs);
            // The counter was read before the table, so the next poll detects a change in between.
            if (slave.getFault() == 0) {
                mirrored = changes;
                print(table);
            }
        }
        slave.set_timer(0); // so that no late alarm of a failed call cuts the pause short
        if (slave.getFault() != 0 && !stopping)
            std::cerr << "not mirrored this time: fault " << slave.getFault() << '\n';
        std::this_thread::sleep_for(pollInterval);
    }
    return mirrored < 0 ? 1 : 0;
}
