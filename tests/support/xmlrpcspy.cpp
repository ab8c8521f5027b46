#include "xmlrpcspy.h"

#include <cstdarg>
#include <cstring>

#include "interpose.h"

namespace support {

namespace {

XmlrpcSpy* spy = nullptr;

} // namespace

struct XmlrpcWatch {
    static void note(const char* call)
    {
        if (spy)
            spy->calls.emplace_back(call);
    }

    // Whether the test made the step fail.
    static bool fails(SetupStep step, xmlrpc_env* env)
    {
        if (!spy || !spy->failureDue || spy->failing != step)
            return false;
        if (step == SetupStep::environment && env != spy->failingEnvironment)
            return false;
        spy->failureDue = false;
        xmlrpc_env_set_fault(env, spy->failureCode, spy->failureText.c_str());
        return true;
    }

    static void created(int flags, const char* appName, const char* appVersion, const xmlrpc_clientparms& parms,
                        unsigned int parmSize, xmlrpc_client* client)
    {
        if (!spy)
            return;
        Creation creation;
        creation.flags = flags;
        creation.appName = appName;
        creation.appVersion = appVersion;
        creation.transport = parms.transport;
        creation.parmSize = parmSize;
        creation.transportParmSize = parms.transportparm_size;
        std::memcpy(static_cast<void*>(&creation.transportParms), parms.transportparmsP, parms.transportparm_size);
        creation.userAgent = creation.transportParms.user_agent;
        creation.client = client;
        spy->creations.push_back(creation);
        ++spy->clients;
    }

    static void called(xmlrpc_value* result)
    {
        if (!spy)
            return;
        spy->lastResult = result;
        if (result)
            ++spy->resultsReceived;
        if (spy->afterCall)
            spy->afterCall();
    }

    static void aboutToCall(const xmlrpc_env& env)
    {
        if (!spy)
            return;
        spy->lastResult = nullptr;
        spy->resultsReleased = 0;
        ++spy->remoteCalls;
        if (env.fault_occurred)
            ++spy->callsOnFaultyEnvironment;
        if (spy->beforeCall)
            spy->beforeCall();
    }

    static void released(const xmlrpc_value* value)
    {
        if (spy && value == spy->lastResult)
            ++spy->resultsReleased;
    }

    static void limited(int limit, std::size_t value)
    {
        note("limit_set");
        if (spy)
            spy->limits.emplace_back(limit, value);
    }

    static void registered(int* flag)
    {
        note("set_interrupt");
        if (spy)
            spy->interruptFlag = flag;
    }

    static void countSetups(int change)
    {
        if (spy)
            spy->globalSetups += change;
    }

    static void destroyed()
    {
        note("destroy");
        if (spy)
            --spy->clients;
    }
};

XmlrpcSpy::XmlrpcSpy()
{
    spy = this;
}

XmlrpcSpy::~XmlrpcSpy()
{
    spy = nullptr;
}

void XmlrpcSpy::failNext(SetupStep step, int code, const std::string& text, const xmlrpc_env* env)
{
    failing = step;
    failureCode = code;
    failureText = text;
    failingEnvironment = env;
    failureDue = true;
}

xmlrpc_value* XmlrpcSpy::keptResult() const
{
    return resultsReleased == 0 ? lastResult : nullptr;
}

void XmlrpcSpy::releaseKeptResult()
{
    if (xmlrpc_value* const kept = keptResult())
        xmlrpc_DECREF(kept);
}

} // namespace support

using support::next;
using support::SetupStep;
using support::XmlrpcWatch;

// These intercept the library's calls: the program's symbols precede those of xmlrpc-c.
#pragma GCC visibility push(default)
extern "C" {

// Weak, like xmlrpc_client_call2f(), because some test programs have their own.
[[gnu::weak]] void xmlrpc_env_init(xmlrpc_env* env)
{
    static const auto real = next<decltype(xmlrpc_env_init)>("xmlrpc_env_init");
    real(env);
    XmlrpcWatch::fails(SetupStep::environment, env);
}

void xmlrpc_client_setup_global_const(xmlrpc_env* env)
{
    static const auto real = next<decltype(xmlrpc_client_setup_global_const)>("xmlrpc_client_setup_global_const");
    XmlrpcWatch::note("setup_global_const");
    if (XmlrpcWatch::fails(SetupStep::globalConst, env))
        return;
    real(env);
    if (!env->fault_occurred)
        XmlrpcWatch::countSetups(1);
}

void xmlrpc_client_teardown_global_const()
{
    static const auto real = next<decltype(xmlrpc_client_teardown_global_const)>("xmlrpc_client_teardown_global_const");
    XmlrpcWatch::note("teardown_global_const");
    XmlrpcWatch::countSetups(-1);
    real();
}

void xmlrpc_client_create(xmlrpc_env* env, int flags, const char* appName, const char* appVersion,
                          const xmlrpc_clientparms* parms, unsigned int parmSize, xmlrpc_client** client)
{
    static const auto real = next<decltype(xmlrpc_client_create)>("xmlrpc_client_create");
    XmlrpcWatch::note("create");
    if (XmlrpcWatch::fails(SetupStep::client, env))
        return;
    real(env, flags, appName, appVersion, parms, parmSize, client);
    if (!env->fault_occurred)
        XmlrpcWatch::created(flags, appName, appVersion, *parms, parmSize, *client);
}

void xmlrpc_client_destroy(xmlrpc_client* client)
{
    static const auto real = next<decltype(xmlrpc_client_destroy)>("xmlrpc_client_destroy");
    XmlrpcWatch::destroyed();
    real(client);
}

void xmlrpc_client_set_interrupt(xmlrpc_client* client, int* flag)
{
    static const auto real = next<decltype(xmlrpc_client_set_interrupt)>("xmlrpc_client_set_interrupt");
    XmlrpcWatch::registered(flag);
    real(client, flag);
}

void xmlrpc_limit_set(int limit, size_t value)
{
    static const auto real = next<decltype(xmlrpc_limit_set)>("xmlrpc_limit_set");
    XmlrpcWatch::limited(limit, value);
    real(limit, value);
}

[[gnu::weak]] void xmlrpc_client_call2f(xmlrpc_env* env, xmlrpc_client* client, const char* url, const char* method,
                                        xmlrpc_value** result, const char* format, ...)
{
    XmlrpcWatch::aboutToCall(*env);
    va_list values;
    va_start(values, format);
    xmlrpc_client_call2f_va(env, client, url, method, format, result, values);
    va_end(values);
    XmlrpcWatch::called(env->fault_occurred ? nullptr : *result);
}

void xmlrpc_DECREF(xmlrpc_value* value)
{
    static const auto real = next<decltype(xmlrpc_DECREF)>("xmlrpc_DECREF");
    XmlrpcWatch::released(value);
    real(value);
}
}
#pragma GCC visibility pop
