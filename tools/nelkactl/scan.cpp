#include "scan.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include <unistd.h>

#include "failure.h"
#include "interruption.h"

namespace nelkactl {

namespace {

/// On standard error, if that is a terminal. The cursor stays at the start of its line, so that a line of the log
/// takes its place.
class ProgressBar {
public:
    explicit ProgressBar(bool wanted) : shown(wanted && isatty(STDERR_FILENO)) {}
    ~ProgressBar() { clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show(int status, int until)
    {
        if (!shown)
            return;
        constexpr int width = 40;
        const double share = until > 0 ? std::clamp(static_cast<double>(status) / until, 0.0, 1.0) : 1.0;
        const int filled = static_cast<int>(share * width);
        std::fprintf(stderr, "\r[%s%s] %3d of %d\033[K\r", std::string(static_cast<std::size_t>(filled), '#').c_str(),
                     std::string(static_cast<std::size_t>(width - filled), '.').c_str(), status, until);
    }

    void clear() const
    {
        if (shown)
            std::fputs("\r\033[K", stderr);
    }

private:
    const bool shown;
};

void follow(Call& call)
{
    nelka::XmlrpcClient& client = call.client;
    const int entrada = call.value(argument::entrada);
    const int until = call.value(option::until);
    ProgressBar progress(!call.has(option::verbose) && !call.has(option::trace) && !call.has(option::quiet));

    int idScan = 0;
    client.initInputScan(entrada, call.value(argument::tipoScan), idScan, call.value(argument::bandaScan),
                         call.timeout);
    interruption::check();
    if (call.ending().kind != Kind::done)
        return;

    int status = 0;
    for (;; interruption::pause(std::chrono::milliseconds(call.value(option::interval)))) {
        client.statusInputScan(entrada, idScan, status, call.timeout);
        interruption::check();
        if (!call.answered())
            return;
        if (status < 0 || status >= until)
            break;
        progress.show(status, until);
    }

    Text report;
    if (status >= 0) {
        int reportStatus = 0;
        client.getScanReport(entrada, idScan, report.value, reportStatus, call.timeout);
        if (!call.answered())
            interruption::check();
    }
    call.output("idScan", idScan);
    call.output("status", status);
    call.output("report", report);
}

// Tells the slave that nobody waits for this scan any more.
[[noreturn]] void cancel(Call& call)
{
    interruption::forget();
    call.client.cancelInputScan(call.value(argument::entrada), call.timeout);
    const Ending ending = call.ending();
    throw Interrupted(ending.kind == Kind::done ? "SIGINT, the scan is cancelled"
                                                : "SIGINT, the scan could not be cancelled: " + ending.reason);
}

} // namespace

void scan(Call& call)
{
    try {
        follow(call);
    } catch (const Interrupted&) {
        cancel(call);
    }
}

} // namespace nelkactl
