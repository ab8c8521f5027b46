#include "fleet.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <sys/wait.h>

#include "address.h"
#include "endingsignals.h"
#include "failure.h"
#include "files.h"
#include "hosts.h"
#include "outputfile.h"
#include "progress.h"
#include "report.h"
#include "result.h"
#include "signals.h"
#include "workers.h"

namespace nelkactl {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// From best to worst.
constexpr std::array order{Kind::done, Kind::refused, Kind::interrupted, Kind::timedOut, Kind::faulted, Kind::unusable};

void replaceAll(std::string& text, const std::string& what, const std::string& with)
{
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += with.size())
        text.replace(at, what.size(), with);
}

// The file for the block of a host.
std::string outputOf(const Host& host, const Given& given)
{
    std::string path = option::output.in(given);
    replaceAll(path, "{name}", host.name);
    replaceAll(path, "{host}", host.host);
    replaceAll(path, "{port}", std::to_string(host.port));
    return path;
}

// The command line of one host's run.
std::vector<std::string> wordsOf(const Host& host, const Options& options)
{
    Given given = options.given;
    for (const Parameter& own : option::ofManyRuns)
        given.erase(own.name);
    given[option::host.name] = hostInUrl(host.host);
    given[option::port.name] = std::to_string(host.port);
    given[option::json.name];
    given[option::quiet.name];
    if (options.has(option::output))
        given[option::output.name] = outputOf(host, given);

    std::vector<std::string> words{"nelkactl"};
    const auto add = [&words](const std::string& name, const std::string& text) {
        words.push_back(name);
        words.back().append("=").append(text);
    };
    for (const auto& [name, text] : given)
        if (text.empty() && name != option::database.name) // of the options with a value, only this one may be empty
            words.push_back(name);
        else if (text.find(separator) == std::string::npos)
            add(name, text);
        else
            for (const std::string& one : textsIn(text))
                add(name, one);
    words.insert(words.end(), {"--", options.operation});
    words.insert(words.end(), options.arguments.begin(), options.arguments.end());
    return words;
}

// Reports whatever can be found wrong before anything is sent.
void check(const Operation& operation, const Options& options, const std::vector<Host>& hosts)
{
    if (options.has(option::jobs) && !options.has(option::hosts))
        throw UsageError("--jobs needs --hosts");
    if ((options.has(option::count) || options.has(option::changes)) && !options.has(option::every))
        throw UsageError("--count and --changes need --every");
    const Given given = givenTo(operation, options);
    if (options.has(option::input)) {
        if (option::input.in(given) == "-")
            throw UsageError("--input - cannot be used here: several processes would read it");
        readBlock(option::input.in(given));
    }
    if (!options.has(option::output))
        return;
    std::set<std::filesystem::path> targets;
    for (const Host& host : hosts) {
        const std::string path = outputOf(host, given);
        if (OutputFile(path).isStandardOutput())
            throw UsageError("--output " + path + " is standard output, which the results need");
        if (!targets.insert(std::filesystem::weakly_canonical(path)).second)
            throw UsageError("two hosts would write " + path + "; use {name}, {host} or {port} in FILE");
    }
}

class Fleet {
public:
    Fleet(const Options& given, std::vector<Host> whom)
        : options(given), repeats(options.has(option::every)), json(repeats || options.has(option::json)),
          hosts(std::move(whom)), workers(option::jobs.in(options.given)), printed(hosts.size())
    {
    }

    Kind run()
    {
        const Clock::time_point start = Clock::now();
        if (repeats) {
            repeat(start);
        } else {
            bar.emplace(!options.has(option::quiet) && !options.has(option::verbose) && !options.has(option::trace));
            round();
            bar.reset();
        }
        if (!json)
            writeToStandardOutput(table(hosts, results));
        if (!repeats && !options.has(option::quiet))
            std::cerr << "nelkactl: "
                      << tally(endings, hosts.size() - asked,
                               std::chrono::duration_cast<milliseconds>(Clock::now() - start))
                      << std::endl;
        const int signal = signals::received();
        if (signal == SIGINT && repeats)
            return Kind::done;
        if (signal != 0)
            dieOf(signal);
        return worst;
    }

private:
    void repeat(Clock::time_point start)
    {
        const milliseconds period(option::every.in(options.given));
        const int count = options.has(option::count) ? option::count.in(options.given) : 0;
        for (int rounds = 1;; ++rounds) {
            round();
            if (signals::received() || rounds == count)
                return;
            // A round that takes too long skips the rounds it runs into.
            const Clock::time_point next = start + ((Clock::now() - start) / period + 1) * period;
            while (Clock::now() < next && !signals::received())
                signals::wait(std::chrono::ceil<milliseconds>(next - Clock::now()));
        }
    }

    void round()
    {
        for (asked = 0; workers.running() > 0 || (asked < hosts.size() && !signals::received());) {
            while (asked < hosts.size() && !workers.full() && !signals::received()
                   && workers.start(asked, wordsOf(hosts[asked], options)))
                ++asked;
            show();
            signals::wait(milliseconds(200));
            while (std::optional<Workers::Ended> one = workers.ended())
                take(std::move(*one));
            if (signals::received())
                cut();
        }
    }

    void show()
    {
        if (!bar)
            return;
        const auto done = endings.find(Kind::done);
        const std::size_t good = done == endings.end() ? 0 : done->second;
        const std::size_t ended = asked - workers.running();
        bar->show(static_cast<int>(ended), static_cast<int>(hosts.size()),
                  std::to_string(good) + " done, " + std::to_string(ended - good) + " failed, "
                      + std::to_string(workers.running()) + " running");
    }

    // A run gets just enough time to cancel its scan on the slave.
    void cut()
    {
        if (!lastMoment) {
            const milliseconds patience(options.timeout == 0 ? 17'000 : options.timeout);
            lastMoment = Clock::now() + patience + std::chrono::seconds(2);
            workers.signal(signals::received());
        } else if (Clock::now() > *lastMoment) {
            workers.signal(SIGKILL);
        }
    }

    void take(Workers::Ended one)
    {
        Summary summary;
        if (!summarise(one.output.file(), summary)) {
            one.output = Spool();
            const std::string line = resultLine(resultWithoutLine(one));
            std::fwrite(line.data(), 1, line.size(), one.output.file());
            summarise(one.output.file(), summary);
        }
        const bool cutShort = summary.kind == Kind::interrupted && signals::received();
        if (!(cutShort && repeats))
            keep(one, summary);
    }

    void keep(const Workers::Ended& one, Summary& summary)
    {
        ++endings[summary.kind];
        worst = worse(worst, summary.kind);
        if (!json) {
            results[one.job] = std::move(summary);
            return;
        }
        if (options.has(option::changes) && std::exchange(printed[one.job], summary.digest) == summary.digest)
            return;
        std::vector<std::pair<std::string, std::string>> fields;
        if (repeats)
            fields.emplace_back("time", timestamp(one.asked));
        if (options.has(option::hosts))
            fields.emplace_back("name", hosts[one.job].name);
        writeLine(fields, one.output.file());
    }

    // The ending of a run that wrote no result.
    Result resultWithoutLine(const Workers::Ended& one) const
    {
        const bool killed = WIFSIGNALED(one.status);
        const std::string how = killed ? "was killed by signal " + std::to_string(WTERMSIG(one.status)) + ", "
                                             + sigdescr_np(WTERMSIG(one.status))
                                       : "wrote no result, exit status " + std::to_string(WEXITSTATUS(one.status));
        const Kind kind = killed && signals::received() ? Kind::interrupted : Kind::faulted;
        const Host& host = hosts[one.job];
        return {options.operation, host.host, host.port, {kind, 0, "its process " + how}, 1, one.milliseconds};
    }

    const Options& options;
    const bool repeats;
    const bool json;
    const std::vector<Host> hosts;
    Workers workers;
    std::optional<ProgressBar> bar;
    std::size_t asked = 0; ///< in this round
    std::optional<Clock::time_point> lastMoment;
    std::vector<std::optional<std::uint64_t>> printed; ///< the digest of each host's last line
    std::map<Kind, std::size_t> endings;
    std::map<std::size_t, Summary> results;
    Kind worst = Kind::done;
};

} // namespace

Kind worse(Kind one, Kind other)
{
    const auto place = [](Kind kind) { return std::find(order.begin(), order.end(), kind); };
    return place(one) < place(other) ? other : one;
}

bool asksMuch(const Options& options)
{
    return std::any_of(option::ofManyRuns.begin(), option::ofManyRuns.end(),
                       [&](const Parameter& one) { return options.has(one); });
}

Kind askMuch(const Operation& operation, const Options& options)
{
    std::vector<Host> hosts = options.has(option::hosts) ? readHosts(option::hosts.in(options.given), options.port)
                                                         : std::vector<Host>{{"", options.host, options.port}};
    check(operation, options, hosts);
    signals::watch();
    return Fleet(options, std::move(hosts)).run();
}

} // namespace nelkactl
