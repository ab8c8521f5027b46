#include "calls.h"

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <thread>

#include "ending.h"
#include "refusal.h"

namespace nelkaslave {

namespace {

void log(const std::string& procedure, std::string outcome)
{
    std::replace_if(
        outcome.begin(), outcome.end(), [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
    std::fprintf(stderr, "%s: %s\n", procedure.c_str(), outcome.c_str());
}

// In short rests, so that the slave's end does not wait for it.
void rest(std::chrono::milliseconds duration)
{
    const auto end = std::chrono::steady_clock::now() + duration;
    while (!ending() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_until(std::min(end, std::chrono::steady_clock::now() + std::chrono::milliseconds(50)));
    if (ending())
        throw Fault(XMLRPC_INTERNAL_ERROR, "the slave ends");
}

std::string withReason(const std::string& outcome, const std::exception& reason)
{
    return outcome + ", " + reason.what();
}

} // namespace

Calls::Calls(Slave& slave, Behaviours behaviours)
{
    for (const Procedure& procedure : procedures())
        all.push_back({slave, procedure, std::move(behaviours[procedure.name])});
}

void Calls::publish(nelka::XmlrpcServer& server)
{
    for (Published& published : all)
        server.AddFunction(published.procedure.name, serve, &published);
}

xmlrpc_value* Calls::serve(xmlrpc_env* env, xmlrpc_value* parameters, void* published, void*)
{
    const Published& called = *static_cast<const Published*>(published);
    Value reply;
    std::string outcome;
    try {
        reply = answer(called, Arguments(parameters), outcome);
    } catch (const Fault& fault) {
        outcome = withReason("fault " + std::to_string(fault.code), fault);
        xmlrpc_env_set_fault(env, fault.code, fault.what());
    } catch (const std::exception& error) {
        outcome = withReason("fault " + std::to_string(XMLRPC_INTERNAL_ERROR), error);
        xmlrpc_env_set_fault(env, XMLRPC_INTERNAL_ERROR, error.what());
    }
    log(called.procedure.name, outcome);
    return reply.release();
}

Value Calls::answer(const Published& published, const Arguments& arguments, std::string& outcome)
{
    const auto& [slave, procedure, behaviour] = published;
    if (behaviour.delay.count() > 0)
        rest(behaviour.delay);
    if (behaviour.fault)
        throw Fault(*behaviour.fault);
    if (behaviour.reply) {
        outcome = "fixed reply";
        return another(behaviour.reply);
    }

    Value reply;
    std::string reason;
    try {
        reply = procedure.handler(slave, arguments);
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
    if (behaviour.status)
        reply = withItem(reply, *procedure.statusPlace, integer(*behaviour.status));
    outcome = "status " + std::to_string(integerAt(reply, *procedure.statusPlace)) + reason;
    return reply;
}

} // namespace nelkaslave
