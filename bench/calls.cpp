// Wall and processor time of one call, every way to make it beside every other: callers on one processor, whatever
// answers them on another.
//
// calls [--own-log] [Google Benchmark's options]: with --own-log /dev/log is ours, and calls that send their log lines
// are measured too.
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <syslog.h>
#include <unistd.h>

#include "callers.h"
#include "process.h"

namespace {

constexpr int callersProcessor = 0;
constexpr int answersProcessor = 1;

constexpr int noLines = LOG_MASK(LOG_EMERG);
constexpr int allLines = LOG_UPTO(LOG_DEBUG);

double seconds(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// A program that prints its port, then answers.
struct Answering {
    explicit Answering(std::vector<std::string> command)
        : process(std::move(command), answersProcessor),
          port(static_cast<unsigned short>(std::stoul(process.readLine())))
    {
    }

    const bench::Process process;
    const unsigned short port;
};

void reportProcessor(benchmark::State& state, double taken)
{
    state.counters["processor"] = taken * 1e9 / static_cast<double>(state.iterations());
}

// Many at a time, so that the way to a caller in another process does not count.
constexpr std::size_t batch = 10;

void measure(benchmark::State& state, bench::Caller& caller, clockid_t clock, int logMask)
{
    setlogmask(logMask);
    caller.calls(1);
    const double before = seconds(clock);
    while (state.KeepRunningBatch(batch))
        caller.calls(batch);
    reportProcessor(state, seconds(clock) - before);
}

// Bytes of main memory that a process has used at most.
double mostResident(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:"))
            return std::stod(line.substr(line.find_first_of("0123456789"))) * 1024;
    }
    return 0;
}

// Everything that is measured, and what answers it.
class Table {
public:
    explicit Table(bool ownLog)
    {
        for (const bench::Exchange& exchange : bench::exchanges()) {
            const unsigned short port = answeredBy({RESPONDER, std::to_string(exchange.received)}).port;
            for (const std::string& name : bench::callerNames())
                add(exchange.name + "/" + name, bench::makeCaller(name, exchange, port));
        }
        const bench::Exchange& small = bench::exchangeNamed("small");
        const unsigned short port = answeredBy({RESPONDER, "0"}).port;
        if (ownLog) {
            for (const std::string name : {"nelkanet", "xmlrpc-c+syslog"})
                add("logged/" + name, bench::makeCaller(name, small, port), allLines);
        }
        for (const std::string name : {"nelkanet", "xmlrpc-c"})
            addConstruction(name, small, port);

        for (const bench::Exchange& exchange : bench::exchanges()) {
            addServer("nelkanet", exchange, {SERVER, "nelkanet"});
            addServer("abyss", exchange, {SERVER, "abyss"});
            addServer("xmlrpc.server", exchange, {"/usr/bin/python3", PYTHON_SERVER});
        }
    }

private:
    const Answering& answeredBy(std::vector<std::string> command)
    {
        answering.push_back(std::make_unique<Answering>(std::move(command)));
        return *answering.back();
    }

    void add(const std::string& name, std::unique_ptr<bench::Caller> made, int logMask = noLines)
    {
        callers.push_back(std::move(made));
        bench::Caller& caller = *callers.back();
        benchmark::RegisterBenchmark(name.c_str(), [=, &caller](benchmark::State& state) {
            measure(state, caller, caller.processorClock(), logMask);
        });
    }

    // What counts is what the server takes.
    void addServer(const std::string& name, const bench::Exchange& exchange, std::vector<std::string> command)
    {
        if (access(command.front().c_str(), X_OK) != 0)
            return;
        command.push_back(std::to_string(exchange.received));
        const Answering& server = answeredBy(std::move(command));
        const pid_t process = server.process.id();
        clockid_t clock = 0;
        clock_getcpuclockid(process, &clock);
        callers.push_back(bench::makeReconnectingCaller(exchange, server.port));
        bench::Caller& caller = *callers.back();
        benchmark::RegisterBenchmark(("serve-" + exchange.name + "/" + name).c_str(),
                                     [=, &caller](benchmark::State& state) {
                                         measure(state, caller, clock, noLines);
                                         state.counters["resident"] = mostResident(process);
                                     });
    }

    // From nothing to a client that is ready, and back.
    void addConstruction(const std::string& name, const bench::Exchange& exchange, unsigned short port)
    {
        benchmark::RegisterBenchmark(("ready/" + name).c_str(), [=](benchmark::State& state) {
            setlogmask(noLines);
            const double before = seconds(CLOCK_PROCESS_CPUTIME_ID);
            for (auto _ : state)
                bench::makeCaller(name, exchange, port);
            reportProcessor(state, seconds(CLOCK_PROCESS_CPUTIME_ID) - before);
        });
    }

    std::vector<std::unique_ptr<Answering>> answering;
    std::vector<std::unique_ptr<bench::Caller>> callers;
};

} // namespace

int main(int argc, char** argv)
try {
    bench::pinTo(callersProcessor);
    const bool ownLog = argc > 1 && std::string(argv[1]) == "--own-log";
    std::unique_ptr<bench::Process> logSink;
    if (ownLog) {
        argv[1] = argv[0];
        --argc;
        ++argv;
        logSink = std::make_unique<bench::Process>(std::vector<std::string>{LOGSINK}, answersProcessor);
        logSink->readLine();
    }
    benchmark::Initialize(&argc, argv);
    const Table table(ownLog);
    benchmark::RunSpecifiedBenchmarks();
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
