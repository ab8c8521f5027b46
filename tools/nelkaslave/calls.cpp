#include "calls.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <system_error>
#include <thread>
#include <utility>

#include "conversion.h"
#include "ending.h"
#include "log.h"
#include "refusal.h"

namespace nelkaslave {

namespace {

using Clock = std::chrono::steady_clock;

std::string milliseconds(Clock::duration duration)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms", std::chrono::duration<double, std::milli>(duration).count());
    return text;
}

// Sleeps in short steps, so that the slave can end meanwhile.
void rest(std::chrono::milliseconds duration)
{
    const auto end = Clock::now() + duration;
    while (!ending() && Clock::now() < end)
        std::this_thread::sleep_until(std::min(end, Clock::now() + std::chrono::milliseconds(50)));
    if (ending())
        throw Fault(XMLRPC_INTERNAL_ERROR, "the slave ends");
}

std::string withReason(const std::string& outcome, const std::exception& reason)
{
    return outcome + ", " + reason.what();
}

} // namespace

Calls::Calls(Slave& slave, Script told) : script(std::move(told))
{
    for (const Procedure& procedure : procedures())
        all.push_back({slave, procedure, script});
}

void Calls::publish(nelka::XmlrpcServer& server)
{
    for (Published& published : all)
        server.AddFunction(published.procedure.name, serve, &published);
}

xmlrpc_value* Calls::serve(xmlrpc_env* env, xmlrpc_value* parameters, void* published, void*)
{
    const Clock::time_point start = Clock::now();
    const Published& called = *static_cast<const Published*>(published);
    Value reply;
    std::string outcome;
    try {
        reply = answer(called, parameters, outcome);
    } catch (const Fault& fault) {
        outcome = withReason("fault " + std::to_string(fault.code), fault);
        xmlrpc_env_set_fault(env, fault.code, fault.what());
    } catch (const std::exception& error) {
        outcome = withReason("fault " + std::to_string(XMLRPC_INTERNAL_ERROR), error);
        xmlrpc_env_set_fault(env, XMLRPC_INTERNAL_ERROR, error.what());
    }
    log(timeOfDay() + ' ' + called.procedure.name + '(' + described(parameters) + "): " + outcome + ", "
        + milliseconds(Clock::now() - start));
    return reply.release();
}

Value Calls::answer(const Published& published, xmlrpc_value* parameters, std::string& outcome)
{
    const auto& [slave, procedure, script] = published;
    const Behaviour* const told =
        script.mentions(procedure.name) ? script.next({procedure.name, fromParameters(parameters)}) : nullptr;
    if (told && told->delay.count() > 0)
        rest(told->delay);
    if (told && told->answer) {
        if (told->answer->fault)
            throw Fault(told->answer->fault->code, told->answer->fault->text);
        outcome = "fixed reply";
        return toValue(told->answer->reply);
    }

    Value reply;
    std::string reason;
    try {
        reply = procedure.handler(slave, Arguments(parameters));
    } catch (const Refusal& refusal) {
        reply = procedure.refusal(refusal.status);
        reason = withReason("", refusal);
    } catch (const std::system_error& error) {
        reply = procedure.refusal(storageError);
        reason = withReason("", error);
    }
    if (!procedure.statusPlace) {
        outcome = "answered" + reason;
        return reply;
    }
    if (told && told->status)
        reply = withItem(reply, *procedure.statusPlace, integer(*told->status));
    outcome = "status " + std::to_string(integerAt(reply, *procedure.statusPlace)) + reason;
    return reply;
}

} // namespace nelkaslave
