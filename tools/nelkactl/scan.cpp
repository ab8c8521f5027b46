#include "scan.h"

#include <chrono>
#include <string>

#include "failure.h"
#include "interruption.h"
#include "progress.h"

namespace nelkactl {

namespace {

// Makes a call that changes nothing, and repeats it if no answer comes.
template <typename Ask>
void persist(Call& call, const Ask& ask)
{
    for (int retries = call.value(option::retryPoll);; --retries) {
        ask();
        interruption::check();
        if (!call.lost() || retries == 0)
            return;
        interruption::pause(std::chrono::milliseconds(call.value(option::interval)));
    }
}

// Returns whether the slave has ended the scan, or never began it.
bool follow(Call& call)
{
    nelka::XmlrpcClient& client = call.client;
    const int entrada = call.value(argument::entrada);
    const int until = call.value(option::until);
    ProgressBar progress(!call.has(option::verbose) && !call.has(option::trace) && !call.has(option::quiet));

    int idScan = 0;
    client.initInputScan(entrada, call.value(argument::tipoScan), idScan, call.value(argument::bandaScan),
                         call.timeout);
    interruption::check();
    if (const Ending ending = call.ending(); ending.kind != Kind::done)
        return ending.kind != Kind::timedOut;
    call.output("idScan", idScan);

    for (;; interruption::pause(std::chrono::milliseconds(call.value(option::interval)))) {
        int status = 0;
        persist(call, [&] { client.statusInputScan(entrada, idScan, status, call.timeout); });
        if (!call.answered())
            return false;
        call.output("status", status);
        if (status < 0)
            return false;
        if (status >= until)
            break;
        progress.show(status, until);
    }

    Text report;
    int reportStatus = 0;
    persist(call, [&] { client.getScanReport(entrada, idScan, report.value, reportStatus, call.timeout); });
    call.output("report", report);
    return true;
}

// Cancels the scan on the slave; the reason says whether that worked.
Ending cancelled(Call& call, Ending ending)
{
    interruption::forget();
    call.client.cancelInputScan(call.value(argument::entrada), call.timeout);
    const Ending end = call.ending();
    ending.reason +=
        end.kind == Kind::done ? "; the scan is cancelled" : "; the scan could not be cancelled: " + end.reason;
    return ending;
}

} // namespace

void scan(Call& call)
{
    try {
        if (!follow(call))
            call.conclude(cancelled(call, call.ending()));
    } catch (const Interrupted& interruption) {
        call.conclude(cancelled(call, {Kind::interrupted, XMLRPC_TIMEOUT_ERROR, interruption.what()}));
    }
}

} // namespace nelkactl
