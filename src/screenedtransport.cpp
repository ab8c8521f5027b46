#include "screenedtransport.h"

#include <xmlrpc-c/base.h>

#include "screen.h"

namespace nelka {

namespace {

std::mutex tableInUse;

xmlrpc_transport_call transportsOwnCall()
{
    static const xmlrpc_transport_call call = xmlrpc_curl_transport_ops.call;
    return call;
}

void callAndScreen(xmlrpc_env* env, xmlrpc_client_transport* transport, const xmlrpc_server_info* server,
                   xmlrpc_mem_block* call, xmlrpc_mem_block** reply)
{
    transportsOwnCall()(env, transport, server, call, reply);
    if (env->fault_occurred)
        return;
    const char* const reason =
        reasonToRefuse({static_cast<const char*>(xmlrpc_mem_block_contents(*reply)), xmlrpc_mem_block_size(*reply)});
    if (reason) {
        xmlrpc_mem_block_free(*reply);
        xmlrpc_env_set_fault_formatted(env, XMLRPC_PARSE_ERROR, "The reply was refused unread: %s", reason);
    }
}

} // namespace

ScreenedTransport::ScreenedTransport() : alone(tableInUse), former(transportsOwnCall())
{
    xmlrpc_curl_transport_ops.call = callAndScreen;
}

ScreenedTransport::~ScreenedTransport()
{
    xmlrpc_curl_transport_ops.call = former;
}

} // namespace nelka
