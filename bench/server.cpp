// server nelkanet|abyss BLOCKSIZE: prints its port, then answers every call with status 0 and, if BLOCKSIZE is not 0, a
// block of that many bytes, one connection a call. The one is built on the library, the other on xmlrpc-c's Abyss
// alone, set up the same way.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <syslog.h>
#include <xmlrpc-c/base.h>
#include <xmlrpc-c/server.h>
#include <xmlrpc-c/server_abyss.h>

#include <nelkanet/xmlrpcserver.h>

namespace {

const char* const methods[] = {"SintonizarCanalTerr", "wrFicheroTablasSI", "RecibirArchivo"};

using Block = std::vector<unsigned char>;

xmlrpc_value* answer(xmlrpc_env* env, xmlrpc_value*, void* serverInfo, void*)
{
    const Block& block = *static_cast<const Block*>(serverInfo);
    if (block.empty())
        return xmlrpc_build_value(env, "(i)", 0);
    return xmlrpc_build_value(env, "(i6)", 0, block.data(), block.size());
}

// The port of the process's one listening socket.
int listeningPort()
{
    for (int descriptor = 3; descriptor < 64; ++descriptor) {
        int listening = 0;
        socklen_t size = sizeof listening;
        sockaddr_in address = {};
        socklen_t addressSize = sizeof address;
        if (getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) == 0 && listening
            && getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &addressSize) == 0)
            return ntohs(address.sin_port);
    }
    return 0;
}

void announce()
{
    std::printf("%d\n", listeningPort());
    std::fflush(stdout);
}

void runNelkanet(Block& block)
{
    nelka::XmlrpcServer server;
    for (const char* method : methods)
        server.AddFunction(method, answer, &block);
    server.Start("", 0);
    announce();
    while (server.listening())
        server.Run();
}

void runAbyss(Block& block)
{
    xmlrpc_env env;
    xmlrpc_env_init(&env);
    xmlrpc_registry* const registry = xmlrpc_registry_new(&env);
    for (const char* method : methods) {
        xmlrpc_method_info3 info = {};
        info.methodName = method;
        info.methodFunction = answer;
        info.serverInfo = &block;
        xmlrpc_registry_add_method3(&env, registry, &info);
    }

    sockaddr_in address = {};
    address.sin_family = AF_INET;
    TChanSwitch* chanSwitch = nullptr;
    const char* error = nullptr;
    ChanSwitchUnixCreate2(PF_INET, reinterpret_cast<const sockaddr*>(&address), sizeof address, &chanSwitch, &error);
    TServer server;
    ServerCreateSwitch(&server, chanSwitch, &error);
    ServerSetLogFileName(&server, "/dev/null");
    ServerSetTimeout(&server, 2);
    ServerSetKeepaliveTimeout(&server, 2);
    ServerSetAdvertise(&server, false);
    xmlrpc_server_abyss_set_handlers2(&server, "/RPC2", registry);
    ServerInit(&server);
    announce();
    for (;;)
        ServerRunOnce(&server);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
        return 2;
    setlogmask(LOG_MASK(LOG_EMERG));
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, 1048576);
    Block block(std::strtoul(argv[2], nullptr, 10));
    if (std::string(argv[1]) == "abyss")
        runAbyss(block);
    runNelkanet(block);
}
