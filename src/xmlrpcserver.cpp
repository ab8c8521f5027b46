#include "xmlrpcserver.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <netinet/in.h>
#include <sys/socket.h>

#include <xmlrpc-c/server_abyss.h>

#include "logging.h"
#include "screen.h"

namespace nelka {

namespace {

const char* const sourceFile = "src/xmlrpcserver.cpp";
const char* const uriPath = "/RPC2";
constexpr xmlrpc_uint32_t silenceSeconds = 2;

void logFault(const xmlrpc_env& env, int line)
{
    logLine(LOG_ERR, "XML-RPC Fault: %s (0x%x)\n", env.fault_string, static_cast<unsigned int>(env.fault_code));
    logLine(LOG_ERR, "Error in file %s, line %d\n", sourceFile, line);
}

// Answers a call whose document is refused as xmlrpc-c answers one that it cannot read.
void processScreened(xmlrpc_env* env, void* registry, const char* document, std::size_t size, TSession* session,
                     xmlrpc_mem_block** response)
{
    const char* const reason = reasonToRefuse({document, size});
    if (!reason) {
        xmlrpc_registry_process_call2(env, static_cast<xmlrpc_registry*>(registry), document, size, session, response);
        return;
    }
    *response = xmlrpc_mem_block_new(env, 0);
    if (env->fault_occurred)
        return;
    xmlrpc_env fault;
    xmlrpc_env_init(&fault);
    xmlrpc_env_set_fault_formatted(&fault, XMLRPC_PARSE_ERROR,
                                   "Call XML not a proper XML-RPC call.  Refused unread: %s", reason);
    xmlrpc_serialize_fault(env, *response, &fault);
    xmlrpc_env_clean(&fault);
    if (env->fault_occurred)
        xmlrpc_mem_block_free(*response);
}

} // namespace

XmlrpcServer::XmlrpcServer() : server(), chanSwitch(nullptr), registry(nullptr), env(), serverCreated(false)
{
    const LibraryCode inside;
    xmlrpc_env_init(&env);
    if (env.fault_occurred)
        logFault(env, __LINE__);
    registry = xmlrpc_registry_new(&env);
    if (env.fault_occurred) {
        logFault(env, __LINE__);
        registry = nullptr; // it has been freed already
    }
}

XmlrpcServer::~XmlrpcServer()
{
    const LibraryCode inside;
    closePort();
    if (registry)
        xmlrpc_registry_free(registry);
    xmlrpc_env_clean(&env);
}

void XmlrpcServer::AddFunction(std::string name, Handler handler, void* userData)
{
    const LibraryCode inside;
    xmlrpc_method_info3 method = {};
    method.methodName = name.c_str();
    method.methodFunction = handler;
    method.serverInfo = userData;
    // An environment that holds a fault already is never cleared: the method is not registered.
    if (!env.fault_occurred)
        xmlrpc_registry_add_method3(&env, registry, &method);
    if (env.fault_occurred)
        logFault(env, __LINE__);
}

void XmlrpcServer::Start(std::string, unsigned int port)
{
    const LibraryCode inside;
    closePort();

    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);

    const char* error = nullptr;
    ChanSwitchUnixCreate2(PF_INET, reinterpret_cast<const sockaddr*>(&address), sizeof address, &chanSwitch, &error);
    if (error) {
        logLine(LOG_ERR, "Couldn't create.  %s", error);
        std::free(const_cast<char*>(error));
        chanSwitch = nullptr;
        return;
    }

    ServerCreateSwitch(&server, chanSwitch, &error);
    serverCreated = !error;
    if (error) {
        logLine(LOG_ERR, "Couldn't create a server!  %s", error);
        logLine(LOG_ERR, "HEADEND::: Couldn't create a server!");
        std::free(const_cast<char*>(error));
    } else {
        ServerSetName(&server, "NelkaXMLRPCServer");
        ServerSetLogFileName(&server, "/dev/null");
        ServerSetTimeout(&server, silenceSeconds);
        // A connection that sends nothing is governed by the keep-alive time-out, 15 seconds unless set.
        ServerSetKeepaliveTimeout(&server, silenceSeconds);
        ServerSetAdvertise(&server, false);
        if (registry) {
            xmlrpc_server_abyss_set_handlers2(&server, uriPath, registry);
            // Of the handlers of one path the last is asked first.
            xmlrpc_server_abyss_set_handler2(&server, uriPath, processScreened, registry,
                                             xmlrpc_registry_max_stackSize(registry), false);
        }
    }

    logLine(LOG_INFO, "************* INICIAMOS EL SERVIDOR **************");
    if (serverCreated)
        ServerInit(&server);
    setupSignalHandlers();
}

bool XmlrpcServer::listening() const
{
    return serverCreated;
}

int XmlrpcServer::Run()
{
    const LibraryCode inside;
    if (listening())
        ServerRunOnce(&server);
    return 0;
}

void XmlrpcServer::setupSignalHandlers()
{
    struct sigaction action = {};
    action.sa_handler = SIG_IGN;
    sigemptyset(&action.sa_mask);
    sigaction(SIGPIPE, &action, nullptr);
}

void XmlrpcServer::closePort()
{
    if (serverCreated)
        ServerFree(&server);
    serverCreated = false;
    if (chanSwitch)
        ChanSwitchDestroy(chanSwitch);
    chanSwitch = nullptr;
}

} // namespace nelka
