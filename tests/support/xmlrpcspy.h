// Stands between the library and xmlrpc-c: watches the calls, and makes them fail on demand. Linked into every program
// that uses it or calls one of these functions.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <xmlrpc-c/base.h>
#include <xmlrpc-c/client.h>

namespace support {

/// The steps of init() that can fail.
enum class SetupStep { environment, globalConst, client };

/// The arguments and the result of xmlrpc_client_create().
struct Creation {
    int flags = 0;
    std::string appName;
    std::string appVersion;
    std::string transport;
    unsigned int parmSize = 0;
    std::size_t transportParmSize = 0;
    xmlrpc_curl_xportparms transportParms{}; ///< its user_agent dangles, see below
    std::string userAgent;
    xmlrpc_client* client = nullptr;
};

/// Watches during its lifetime. Only one may exist.
class XmlrpcSpy {
public:
    XmlrpcSpy();
    ~XmlrpcSpy();
    XmlrpcSpy(const XmlrpcSpy&) = delete;
    XmlrpcSpy& operator=(const XmlrpcSpy&) = delete;

    /// Makes the next execution of the step (for the environment: on `env`) record this fault.
    void failNext(SetupStep step, int code, const std::string& text, const xmlrpc_env* env = nullptr);

    /// The names of the calls that set up and release, in order, without "xmlrpc_" and "client_".
    std::vector<std::string> calls;

    int globalSetups = 0; ///< set up and not torn down
    int clients = 0;      ///< created and not destroyed
    std::vector<Creation> creations;
    std::vector<std::pair<int, std::size_t>> limits;
    int* interruptFlag = nullptr; ///< the last registered

    int remoteCalls = 0;
    int callsOnFaultyEnvironment = 0;
    int resultsReceived = 0; ///< by remote calls
    int resultsReleased = 0; ///< releases of the last of these

    /// The last of these if the library has kept it, or null.
    xmlrpc_value* keptResult() const;

    /// Releases it, so that intended leaks hide no others.
    void releaseKeptResult();

    /// Called around each remote call, if set.
    std::function<void()> beforeCall;
    std::function<void()> afterCall;

private:
    friend struct XmlrpcWatch;

    SetupStep failing = SetupStep::environment;
    bool failureDue = false;
    int failureCode = 0;
    std::string failureText;
    const xmlrpc_env* failingEnvironment = nullptr;
    xmlrpc_value* lastResult = nullptr;
};

} // namespace support
