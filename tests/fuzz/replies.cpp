// Any reply to any operation: the first byte selects the operation, the rest is the reply's XML.
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include <syslog.h>

#include <nelkanet/xmlrpclient.h>

#include "screen.h"
#include "support/mutedoutput.h"
#include "support/operations.h"

namespace {

std::string_view replyXml;
xmlrpc_value* handedOver = nullptr;

} // namespace

// Replaces the transport: the client gets the reply that passes the screen and the parser.
#pragma GCC visibility push(default)
extern "C" void xmlrpc_client_call2f(xmlrpc_env* env, xmlrpc_client*, const char*, const char*, xmlrpc_value** result,
                                     const char*, ...)
{
    handedOver = nullptr;
    if (const char* const refusal = nelka::reasonToRefuse(replyXml)) {
        xmlrpc_env_set_fault(env, XMLRPC_PARSE_ERROR, refusal);
        return;
    }
    int code = 0;
    const char* reason = nullptr;
    xmlrpc_parse_response2(env, replyXml.data(), replyXml.size(), &handedOver, &code, &reason);
    if (!env->fault_occurred && reason) {
        xmlrpc_env_set_fault(env, code, reason);
        std::free(const_cast<char*>(reason));
    } else if (!env->fault_occurred) {
        *result = handedOver;
    }
}
#pragma GCC visibility pop

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    static nelka::XmlrpcClient client("127.0.0.1", 1, "", "fuzz", "1");
    static const bool ready = [] {
        setlogmask(LOG_MASK(LOG_EMERG));
        return client.init() == 0;
    }();
    if (!ready)
        std::abort();
    if (size == 0)
        return 0;
    replyXml = {reinterpret_cast<const char*>(data + 1), size - 1};

    const auto& operations = support::operations();
    const support::Operation& operation = operations[data[0] % operations.size()];
    support::Variables variables;
    const support::MutedOutput muted;
    bool thrown = false;
    try {
        operation.call(client, variables, 0);
    } catch (const std::logic_error&) {
        thrown = true;
        if (!operation.throwsWithoutText())
            std::abort();
    }
    const xmlrpc_env& env = client.environment();
    // A table that cannot be filled in is no fault of the call.
    if (env.fault_occurred && !thrown && operation.name != "getTable" && client.getFault() != env.fault_code)
        std::abort();

    // Releases exactly the leaked replies: one too many is a use after free, one too few a leak.
    const bool refused = !env.fault_occurred && client.getFault() != 0;
    if ((operation.kept == support::Kept::whenThrowing && thrown)
        || (operation.kept == support::Kept::whenRefused && refused))
        xmlrpc_DECREF(handedOver);
    return 0;
}
