#include "xmlrpcserver.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include <cxxabi.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

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

// Answers a call with a refused document like xmlrpc-c answers an unreadable one.
void processScreened(xmlrpc_env* env, void* registry, const char* document, std::size_t size, TSession* session,
                     xmlrpc_mem_block** response)
{
    const char* const reason = reasonToRefuse({document, size});
    if (!reason) {
        xmlrpc_registry_process_call2(env, static_cast<xmlrpc_registry*>(registry), document, size, session, response);
        return;
    }
    xmlrpc_env fault;
    xmlrpc_env_init(&fault);
    xmlrpc_env_set_fault_formatted(&fault, XMLRPC_PARSE_ERROR,
                                   "Call XML not a proper XML-RPC call.  Refused unread: %s", reason);
    std::unique_ptr<xmlrpc_mem_block, decltype(&xmlrpc_mem_block_free)> written(xmlrpc_mem_block_new(env, 0),
                                                                                xmlrpc_mem_block_free);
    if (!env->fault_occurred)
        xmlrpc_serialize_fault(env, written.get(), &fault);
    if (!env->fault_occurred)
        *response = written.release();
    xmlrpc_env_clean(&fault);
}

struct Method {
    XmlrpcServer::Handler handler;
    void* userData;
};

// The methods of every server, by registry. Not members, because compiled programs depend on the layout.
std::mutex methodsGuard;
std::multimap<const xmlrpc_registry*, Method> methods;

// The signals that this thread blocks while it serves.
thread_local HeldSignals* heldSignals = nullptr;

// Restores the signal mask of the caller of Run() while a handler of the application runs.
class ApplicationsMask {
public:
    ApplicationsMask() : held(std::exchange(heldSignals, nullptr))
    {
        if (held)
            held->letThrough();
    }
    ~ApplicationsMask()
    {
        heldSignals = held;
        if (held)
            held->hold();
    }
    ApplicationsMask(const ApplicationsMask&) = delete;
    ApplicationsMask& operator=(const ApplicationsMask&) = delete;

private:
    HeldSignals* const held;
};

// An exception must not unwind through xmlrpc-c, which would leave the connection open.
xmlrpc_value* callHandler(xmlrpc_env* env, xmlrpc_value* parameters, void* method, void* session)
{
    const Method& called = *static_cast<const Method*>(method);
    const ApplicationsMask mask;
    try {
        return called.handler(env, parameters, called.userData, session);
    } catch (const abi::__forced_unwind&) {
        throw; // thread cancellation must go on
    } catch (const std::exception& error) {
        xmlrpc_env_set_fault(env, XMLRPC_INTERNAL_ERROR, error.what());
    } catch (...) {
        xmlrpc_env_set_fault(env, XMLRPC_INTERNAL_ERROR, "the handler threw something that is no std::exception");
    }
    return nullptr;
}

// Whether the process can open the three descriptors that xmlrpc-c takes for a connection: the socket and a pipe.
bool connectionFits()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return false;
    const int third = fcntl(ends[0], F_DUPFD_CLOEXEC, 0);
    for (const int descriptor : {ends[0], ends[1], third})
        if (descriptor >= 0)
            close(descriptor);
    return third >= 0;
}

// The listening descriptors, by xmlrpc-c's object, which hides them. Unknown ones are missing.
std::mutex listenersGuard;
std::map<const TChanSwitch*, int> listeners;

// Only one server at a time begins to listen, so that a socket that begins to listen meanwhile is its own.
std::mutex startsGuard;

// The number of the next descriptor, unless another thread opens one first.
int nextDescriptor()
{
    const int next = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (next >= 0)
        close(next);
    return next;
}

bool listensTo(int descriptor, const sockaddr_in& asked)
{
    int listens = 0;
    socklen_t size = sizeof listens;
    sockaddr_in bound = {};
    socklen_t length = sizeof bound;
    return getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0
           && getsockname(descriptor, reinterpret_cast<sockaddr*>(&bound), &length) == 0
           && bound.sin_family == asked.sin_family && bound.sin_addr.s_addr == asked.sin_addr.s_addr
           && (asked.sin_port == 0 || bound.sin_port == asked.sin_port);
}

std::optional<int> listenerOf(const TChanSwitch* chanSwitch)
{
    const std::lock_guard<std::mutex> lock(listenersGuard);
    const auto found = listeners.find(chanSwitch);
    return found == listeners.end() ? std::nullopt : std::optional(found->second);
}

void rememberListener(const TChanSwitch* chanSwitch, int descriptor)
{
    const std::lock_guard<std::mutex> lock(listenersGuard);
    listeners[chanSwitch] = descriptor;
}

void forgetListener(const TChanSwitch* chanSwitch)
{
    const std::lock_guard<std::mutex> lock(listenersGuard);
    listeners.erase(chanSwitch);
}

// False if a signal came first.
bool waitForConnection(int listener)
{
    pollfd waiting = {listener, POLLIN, 0};
    return poll(&waiting, 1, -1) >= 0 || errno != EINTR;
}

// xmlrpc-c takes any signal for the end of the request, or of a connection without one.
void serveUndisturbed(TServer& server)
{
    HeldSignals held;
    heldSignals = &held;
    ServerRunOnce(&server);
    heldSignals = nullptr;
}

std::atomic<bool> shortageLogged{false};

// Waits for the application to close descriptors, but briefly, to keep its loop running. A signal ends the wait.
void waitForDescriptors()
{
    constexpr int longestWaitMs = 100;
    if (!shortageLogged.exchange(true))
        logLine(LOG_ERR, "No free descriptor for a connection: connections wait until there is one");
    poll(nullptr, 0, longestWaitMs);
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
        registry = nullptr; // already freed
    }
}

XmlrpcServer::~XmlrpcServer()
{
    const LibraryCode inside;
    closePort();
    if (registry) {
        xmlrpc_registry_free(registry);
        const std::lock_guard<std::mutex> lock(methodsGuard);
        methods.erase(registry);
    }
    xmlrpc_env_clean(&env);
}

void XmlrpcServer::AddFunction(std::string name, Handler handler, void* userData)
{
    const LibraryCode inside;
    // An environment that already holds a fault is never cleared: the method is not registered.
    if (!env.fault_occurred) {
        const std::lock_guard<std::mutex> lock(methodsGuard);
        const auto added = methods.insert({registry, {handler, userData}});
        xmlrpc_method_info3 method = {};
        method.methodName = name.c_str();
        method.methodFunction = callHandler;
        method.serverInfo = &added->second;
        xmlrpc_registry_add_method3(&env, registry, &method);
        if (env.fault_occurred)
            methods.erase(added);
    }
    if (env.fault_occurred)
        logFault(env, __LINE__);
}

void XmlrpcServer::Start(std::string, unsigned int port)
{
    const LibraryCode inside;
    closePort();
    const std::lock_guard<std::mutex> lock(startsGuard);

    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);

    const int listener = nextDescriptor();
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
        // The keep-alive time-out, by default 15 seconds, limits a connection that sends nothing.
        ServerSetKeepaliveTimeout(&server, silenceSeconds);
        ServerSetAdvertise(&server, false);
        if (registry) {
            xmlrpc_server_abyss_set_handlers2(&server, uriPath, registry);
            // The last handler of a path is called first.
            xmlrpc_server_abyss_set_handler2(&server, uriPath, processScreened, registry,
                                             xmlrpc_registry_max_stackSize(registry), false);
        }
    }

    logLine(LOG_INFO, "************* INICIAMOS EL SERVIDOR **************");
    if (serverCreated) {
        const bool listened = listensTo(listener, address);
        ServerInit(&server);
        if (!listened && listensTo(listener, address))
            rememberListener(chanSwitch, listener);
    }
    setupSignalHandlers();
}

bool XmlrpcServer::listening() const
{
    return serverCreated;
}

int XmlrpcServer::Run()
{
    const LibraryCode inside;
    if (!listening())
        return 0;
    // Otherwise xmlrpc-c would print a line to standard output and return immediately, endlessly.
    if (!connectionFits()) {
        waitForDescriptors();
        return 0;
    }
    shortageLogged = false;
    const std::optional<int> listener = listenerOf(chanSwitch);
    if (!listener)
        ServerRunOnce(&server);
    else if (waitForConnection(*listener))
        serveUndisturbed(server);
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
    forgetListener(chanSwitch);
    if (chanSwitch)
        ChanSwitchDestroy(chanSwitch);
    chanSwitch = nullptr;
}

} // namespace nelka
