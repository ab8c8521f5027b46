// Wall and processor time of one call, every way to make it beside every other: callers on one processor, whatever
// answers them on another.
//
// calls [--own-log] [Google Benchmark's options]: with --own-log /dev/log is ours, and calls that send their log lines
// are measured too.
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
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

        addServer("nelkanet", {SERVER, "nelkanet"});
        addServer("abyss", {SERVER, "abyss"});
        addServer("xmlrpc.server", {"/usr/bin/python3", PYTHON_SERVER});
    }

private:
    const Answering& answeredBy(std::vector<std::string> command)
    {
        answering.push_back(std::make_unique<Answering>(std::move(command)));
        return *answering.back();
    }

    void add(const std::string& name, std::unique_ptr<bench::Caller> made, int logMask = noLines)
    {
        add(name, std::move(made), std::nullopt, logMask);
    }

    void add(const std::string& name, std::unique_ptr<bench::Caller> made, std::optional<clockid_t> clock, int logMask)
    {
        callers.push_back(std::move(made));
        bench::Caller& caller = *callers.back();
        const clockid_t counted = clock.value_or(caller.processorClock());
        benchmark::RegisterBenchmark(
            name.c_str(), [=, &caller](benchmark::State& state) { measure(state, caller, counted, logMask); });
    }

    // The processor time of a server is the server's.
    void addServer(const std::string& name, std::vector<std::string> command)
    {
        if (access(command.front().c_str(), X_OK) != 0)
            return;
        const Answering& server = answeredBy(std::move(command));
        clockid_t clock = 0;
        clock_getcpuclockid(server.process.id(), &clock);
        add("serve/" + name, bench::makeReconnectingCaller(bench::exchangeNamed("small"), server.port), clock, noLines);
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
