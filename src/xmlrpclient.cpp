// Before the table of names: its constants are built after the standard streams.
#include <iostream>

#include "xmlrpclient.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "logging.h"

namespace nelka {

namespace remote {

// No call sends it, and no other file has it.
[[maybe_unused]] static const std::string NO_TABLE = "NO_TABLE";

} // namespace remote

namespace {

const char* const sourceFile = "src/xmlrpclient.cpp";
constexpr unsigned int transportTimeoutMs = 17000;
constexpr std::size_t xmlSizeLimit = 1048576;

// Time-outs and interruption ---------------------------------------------------------------------------------
//
// What cuts a call short is a flag that xmlrpc-c looks at whenever a system call of its wait returns, and a signal
// that makes it return: SIGALRM from the process's one-shot timer, or SIGINT. Signals, timer and flag are the
// process's, so all of this serves one call at a time.
//
// - set_timer() arms the timer before a call and disarms it after an answer. After a time-out, an interruption or a
//   fault it stays as it is, and its alarm may come late. RunningCall therefore disarms it, silently, and waits until
//   an alarm that it has already sent has been handled, before it lowers the flag: a late alarm cuts no later call.
// - The kernel gives a signal of the process to any thread that does not block it, but only the thread that waits in
//   a call is woken by it. A handler that finds itself in another thread passes the signal on and does nothing else,
//   so that a signal is one log line wherever it lands. Only while a call runs, and by thread id: a thread that has
//   ended meanwhile is an error that leaves the signal here.
// - A thread that blocks the signals, as worker threads do, would never be woken: RunningCall lets them through.
// - The handler logs, and so does the code that it interrupts. Both signals are held back around every log line, in
//   the handler too, whose own mask is empty: the lock of syslog() is not recursive.

int interruptFlag;

struct {
    std::atomic<bool> running{false};
    std::atomic<pid_t> thread{0};
} currentCall;

std::atomic<unsigned int> alarmsHandled{0};

struct {
    bool armed = false;
    bool sentAlarm = false;
    unsigned int alarmsHandledBefore = 0;
} timer;

// The flag is a plain int because xmlrpc-c reads it as one.
std::atomic_ref<int> interrupted()
{
    return std::atomic_ref<int>(interruptFlag);
}

void startTimer(unsigned int milliseconds)
{
    itimerval value = {};
    value.it_value.tv_sec = milliseconds / 1000;
    value.it_value.tv_usec = static_cast<suseconds_t>(milliseconds % 1000 * 1000);
    if (milliseconds != 0 && !timer.sentAlarm)
        timer.alarmsHandledBefore = alarmsHandled;
    itimerval former = {};
    setitimer(ITIMER_REAL, &value, &former);
    if (timer.armed && !timerisset(&former.it_value))
        timer.sentAlarm = true;
    timer.armed = milliseconds != 0;
}

void awaitSentAlarm()
{
    // Bounded, because an application may have taken the alarm for itself.
    const timespec pause = {0, 100000};
    for (int tries = 100; timer.sentAlarm && tries > 0 && alarmsHandled == timer.alarmsHandledBefore; --tries)
        nanosleep(&pause, nullptr);
    timer.sentAlarm = false;
}

bool passedOn(int signal)
{
    if ((signal != SIGALRM && signal != SIGINT) || !currentCall.running)
        return false;
    const pid_t thread = currentCall.thread;
    return thread != gettid() && tgkill(getpid(), thread, signal) == 0;
}

// With both signals held back.
void handle(int signal)
{
    if (signal == SIGINT)
        syslog(LOG_NOTICE, "SIGINT signal received. interrupt %i", interrupted().load());
    else if (signal == SIGALRM)
        syslog(LOG_NOTICE, "SIGALRM signal received. interrupt %i", interrupted().load());
    else
        syslog(LOG_ERR,
               "Internal error: signal of class %u caught even though we didn't set up a handler for that class\n",
               static_cast<unsigned int>(signal));
    interrupted() = 1;
    if (signal == SIGALRM)
        ++alarmsHandled;
}

// The time of one call: its signals reach this thread, and no alarm of an earlier call does.
class RunningCall {
public:
    RunningCall() : through(SIG_UNBLOCK)
    {
        startTimer(0);
        awaitSentAlarm();
        interrupted() = 0;
        currentCall.thread = gettid();
        currentCall.running = true;
    }
    ~RunningCall() { currentCall.running = false; }
    RunningCall(const RunningCall&) = delete;
    RunningCall& operator=(const RunningCall&) = delete;

private:
    SignalMask through;
};

// What a reply is decoded into ---------------------------------------------------------------------------------

struct Free {
    void operator()(const void* memory) const { std::free(const_cast<void*>(memory)); }
};

// Each kind of slot says what xmlrpc_decompose_value() takes for it, and forgets what a failed decode left there:
// the texts before the element that failed have been freed by then.

std::tuple<xmlrpc_int32*> slotsOf(int& integer)
{
    return {&integer};
}

void forget(int&) {}

std::tuple<xmlrpc_int64*> slotsOf(xmlrpc_int64& integer)
{
    return {&integer};
}

void forget(xmlrpc_int64&) {}

struct DecodedText {
    const char* text = nullptr;

    DecodedText() = default;
    ~DecodedText() { Free()(text); }
    DecodedText(const DecodedText&) = delete;
    DecodedText& operator=(const DecodedText&) = delete;

    std::string copy() const
    {
        if (!text)
            throw std::logic_error("the reply lacks a text");
        return text;
    }
};

std::tuple<const char**> slotsOf(DecodedText& decoded)
{
    return {&decoded.text};
}

void forget(DecodedText& decoded)
{
    decoded.text = nullptr;
}

struct DecodedBlock {
    const unsigned char* bytes = nullptr;
    std::size_t size = 0;

    DecodedBlock() = default;
    ~DecodedBlock() { Free()(bytes); }
    DecodedBlock(const DecodedBlock&) = delete;
    DecodedBlock& operator=(const DecodedBlock&) = delete;

    void copyTo(std::vector<char>& block, std::size_t count) const { block.assign(bytes, bytes + count); }
};

std::tuple<const unsigned char**, std::size_t*> slotsOf(DecodedBlock& decoded)
{
    return {&decoded.bytes, &decoded.size};
}

void forget(DecodedBlock& decoded)
{
    decoded.bytes = nullptr;
    decoded.size = 0;
}

struct DecodedArray {
    xmlrpc_value* array = nullptr;

    DecodedArray() = default;
    ~DecodedArray()
    {
        if (array)
            xmlrpc_DECREF(array);
    }
    DecodedArray(const DecodedArray&) = delete;
    DecodedArray& operator=(const DecodedArray&) = delete;
};

std::tuple<xmlrpc_value**> slotsOf(DecodedArray& decoded)
{
    return {&decoded.array};
}

void forget(DecodedArray& decoded)
{
    decoded.array = nullptr;
}

// What an operation is written with ----------------------------------------------------------------------------

// An argument of format "i": the low 32 bits of any integer.
template <typename Integer>
constexpr xmlrpc_int32 asInt(Integer value)
{
    return static_cast<xmlrpc_int32>(value);
}

std::string logged(std::string debugLine)
{
    logLine(LOG_DEBUG, "%s", debugLine.c_str());
    return debugLine;
}

} // namespace

// The frame that every remote operation runs in: send(), answered(), perhaps sized(), decode(), decoded(), and the
// slave's status. A step that returns false has reported the failure, and the operation ends there.
class XmlrpcClient::RemoteCall {
public:
    RemoteCall(XmlrpcClient& owner, std::string debugLine) : client(owner), message(std::move(debugLine)) {}
    ~RemoteCall() { release(); }
    RemoteCall(const RemoteCall&) = delete;
    RemoteCall& operator=(const RemoteCall&) = delete;

    template <typename... Values>
    RemoteCall& send(int timeout, const std::string& method, const char* format, Values... values)
    {
        if (prepare()) {
            RunningCall running;
            client.set_timer(static_cast<unsigned short>(timeout));
            xmlrpc_client_call2f(&client.env, client.client, client.serverUrl.c_str(), method.c_str(), &reply, format,
                                 values...);
            cutShort = interrupted() != 0;
        }
        return *this;
    }

    bool answered()
    {
        if (cutShort) {
            logLine(LOG_ERR, "XML-RPC Fault: TIMEOUT POR SIGNAL  mensaje : %s in file %s, line %d\n", message.c_str(),
                    sourceFile, __LINE__);
            client.setFault(XMLRPC_TIMEOUT_ERROR);
            interrupted() = 0;
            // An answer that came all the same is not delivered, and the environment is to say so.
            if (!client.env.fault_occurred)
                xmlrpc_env_set_fault(&client.env, XMLRPC_TIMEOUT_ERROR, "the call was cut short");
            return false;
        }
        if (client.env.fault_occurred) {
            reportFault();
            return false;
        }
        client.set_timer(0);
        return true;
    }

    // Reads the number of elements of the reply, for the operations whose reply has a short and a long shape.
    bool sized()
    {
        elements = xmlrpc_array_size(&client.env, reply);
        decodeFailed = client.env.fault_occurred;
        return decodeFailed ? decoded() : true;
    }

    int size() const { return elements; }

    bool statusOnly() const { return elements == 1; }

    template <typename... Outputs>
    void decode(const char* shape, Outputs&... outputs)
    {
        std::apply([&](auto... slots) { xmlrpc_decompose_value(&client.env, reply, shape, slots...); },
                   std::tuple_cat(slotsOf(outputs)...));
        decodeFailed = client.env.fault_occurred;
        if (decodeFailed)
            (forget(outputs), ...);
    }

    bool failedToDecode() const { return decodeFailed; }

    // Ends the decoding, after whatever came of it has been copied: reports a failure of it and releases the reply.
    bool decoded()
    {
        if (decodeFailed)
            reportFault();
        release();
        return !decodeFailed;
    }

    void checkStatus(int status)
    {
        if (status != 0)
            refused(status);
    }

    void refused(int status)
    {
        logLine(LOG_ERR, "Error recibido desde el esclavo: mensaje : %s, error : %i\n", message.c_str(), status);
        logLine(LOG_ERR, "Error in file %s, line %d\n", sourceFile, __LINE__);
        client.setFault(status);
    }

    // Gives the reply up unreleased.
    void leakReply() { reply = nullptr; }

private:
    // Leaves no trace of the last call, nor of what a ResultSet recorded after it: xmlrpc-c makes no call on an
    // environment that holds a fault.
    bool prepare()
    {
        client.clearFault();
        xmlrpc_env_clean(&client.env);
        xmlrpc_env_init(&client.env);
        if (!client.client)
            xmlrpc_env_set_fault(&client.env, XMLRPC_INTERNAL_ERROR, "client not ready");
        return client.client;
    }

    void reportFault()
    {
        logLine(LOG_ERR, "ERROR en XML-RPC: mensaje : %s, error : %s (0x%x)\n", message.c_str(),
                client.env.fault_string, static_cast<unsigned int>(client.env.fault_code));
        logLine(LOG_ERR, "Error in file %s, line %d\n", sourceFile, __LINE__);
        client.setFault(client.env.fault_code);
    }

    void release()
    {
        if (reply)
            xmlrpc_DECREF(reply);
        reply = nullptr;
    }

    XmlrpcClient& client;
    const std::string message;
    xmlrpc_value* reply = nullptr;
    bool cutShort = false;
    bool decodeFailed = false;
    int elements = 0;
};

// Core ---------------------------------------------------------------------------------------------------------

XmlrpcClient::XmlrpcClient(std::string host_, unsigned short port_, std::string interfaz_, std::string appName_,
                           std::string appVersion_)
    : env(), client(nullptr), host(std::move(host_)), port(port_), interfaz(std::move(interfaz_)),
      appName(std::move(appName_)), appVersion(std::move(appVersion_)), holdsGlobalConst(false)
{
    xmlrpc_env_init(&env);
}

XmlrpcClient::~XmlrpcClient()
{
    cleanup();
}

namespace {

int failedSetUp(const xmlrpc_env& env, int line)
{
    logLine(LOG_ERR, "XML-RPC Fault: %s (0x%x)\n", env.fault_string, static_cast<unsigned int>(env.fault_code));
    logLine(LOG_ERR, "Error in file %s, line %d\n", sourceFile, line);
    return env.fault_code;
}

} // namespace

int XmlrpcClient::init()
{
    client = nullptr;
    serverUrl = "http://" + host + ":" + std::to_string(port) + "/RPC2";
    logLine(LOG_INFO, "Server URL: %s", serverUrl.c_str());
    setupSignalHandlers();

    xmlrpc_env_clean(&env);
    xmlrpc_env_init(&env);
    if (env.fault_occurred)
        return failedSetUp(env, __LINE__);

    xmlrpc_client_setup_global_const(&env);
    if (env.fault_occurred)
        return failedSetUp(env, __LINE__);
    holdsGlobalConst = true;

    const std::string userAgent = appName + "/" + appVersion;
    xmlrpc_curl_xportparms transport = {};
    transport.no_ssl_verifypeer = true;
    transport.no_ssl_verifyhost = true;
    transport.user_agent = userAgent.c_str();
    transport.sslengine_default = true;
    transport.timeout = transportTimeoutMs;

    xmlrpc_clientparms parameters = {};
    parameters.transport = "curl";
    parameters.transportparmsP = &transport;
    parameters.transportparm_size = XMLRPC_CXPSIZE(timeout);

    xmlrpc_client_create(&env, 0, appName.c_str(), appVersion.c_str(), &parameters, XMLRPC_CPSIZE(transportparm_size),
                         &client);
    if (env.fault_occurred) {
        client = nullptr;
        return failedSetUp(env, __LINE__);
    }
    xmlrpc_client_set_interrupt(client, &interruptFlag);

    logLine(LOG_DEBUG, "XMLRPC_XML_SIZE_LIMIT_DEFAULT: %i", static_cast<int>(xmlSizeLimit));
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, xmlSizeLimit);

    interrupted() = 0;
    return 0;
}

void XmlrpcClient::cleanup()
{
    xmlrpc_env_clean(&env);
    xmlrpc_env_init(&env);
    if (client)
        xmlrpc_client_destroy(client);
    if (holdsGlobalConst)
        xmlrpc_client_teardown_global_const();
    holdsGlobalConst = false;
    client = nullptr;
}

int XmlrpcClient::resetConn()
{
    cleanup();
    return init();
}

int XmlrpcClient::updateHostInterfaz(std::string host_, std::string interfaz_)
{
    host = std::move(host_);
    interfaz = std::move(interfaz_);
    return resetConn();
}

const xmlrpc_env& XmlrpcClient::environment() const
{
    return env;
}

void XmlrpcClient::setupSignalHandlers()
{
    struct sigaction action = {};
    action.sa_handler = interruptRpc;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGALRM, &action, nullptr);
}

void XmlrpcClient::interruptRpc(int signal)
{
    const int savedErrno = errno;
    {
        const SignalMask held(SIG_BLOCK);
        if (!passedOn(signal))
            handle(signal);
    }
    errno = savedErrno;
}

void XmlrpcClient::set_timer(unsigned short milliseconds)
{
    const SignalMask held(SIG_BLOCK);
    syslog(LOG_DEBUG, "INICIO ALARMA %i", static_cast<int>(milliseconds));
    startTimer(milliseconds);
}

void XmlrpcClient::sampleadd(int timeout)
{
    // The probe's line serves its error lines only.
    RemoteCall call(*this, "sampleadd : host : " + host);
    if (!call.send(timeout, "sample.add", "(ii)", asInt(10), asInt(5)).answered())
        return;
    int sum = 0;
    call.decode("(i*)", sum);
    if (!call.decoded())
        return;
    logLine(LOG_INFO, "Resultado %i\n", sum);
    std::cout << "RESULTADO " << std::to_string(sum);
}

namespace {

// A socket that is there to be asked about interfaces.
struct QuerySocket {
    const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);

    QuerySocket() = default;
    ~QuerySocket() { close(descriptor); }
    QuerySocket(const QuerySocket&) = delete;
    QuerySocket& operator=(const QuerySocket&) = delete;
};

ifreq aboutLocalInterface()
{
    ifreq request = {};
    std::strncpy(request.ifr_name, "eth0", IFNAMSIZ - 1);
    return request;
}

} // namespace

int XmlrpcClient::getLocalIp(std::string& ip)
{
    ifreq request = aboutLocalInterface();
    const QuerySocket query;
    // Asked by the low 16 bits of its number, and without looking whether it was opened: there is no failure here.
    const auto descriptor = static_cast<std::uint16_t>(query.descriptor);

    const char* text = "";
    if (ioctl(descriptor, SIOCGIFADDR, &request) == 0)
        text = inet_ntoa(reinterpret_cast<const sockaddr_in&>(request.ifr_addr).sin_addr);
    logLine(LOG_DEBUG, "local ip = %s", text);
    ip = text;
    return 1;
}

int XmlrpcClient::getLocalMac(std::string& mac)
{
    const QuerySocket query;
    if (query.descriptor == -1) {
        logLine(LOG_ERR, "Error al crear socket");
        return 0;
    }
    ifreq request = aboutLocalInterface();
    if (ioctl(query.descriptor, SIOCGIFHWADDR, &request) != 0) {
        logLine(LOG_ERR, "Error al obtener la mac ");
        return 0;
    }
    unsigned char address[6] = {};
    std::memcpy(address, request.ifr_hwaddr.sa_data, sizeof address);
    char text[30] = {};
    std::snprintf(text, sizeof text, "%.2X:%.2X:%.2X:%.2X:%.2X:%.2X", address[0], address[1], address[2], address[3],
                  address[4], address[5]);
    mac = text;
    return 1;
}

// Database -----------------------------------------------------------------------------------------------------

void XmlrpcClient::getTable(std::string query, nelkadb::ResultSet& result, int timeout)
{
    // The label has no " : " between name and host.
    RemoteCall call(*this, logged("getTable host : " + host + ", dbName : " + dbName + ", query : " + query));
    if (!call.send(timeout, remote::GetTable, "(ss)", dbName.c_str(), query.c_str()).answered() || !call.sized())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", status);
    } else {
        DecodedArray table;
        call.decode("(iA*)", status, table);
        // What the filling meets is left in the environment and is no fault of the call.
        if (!call.failedToDecode())
            result.fill(env, table.array);
    }
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::execQuery(std::string query, int& result, std::string table, int timeout)
{
    RemoteCall call(*this, logged("execQuery : host : " + host + ", dbName : " + dbName + ", DBtable : " + table
                                  + ", query : " + query));
    // The table goes before the query.
    if (!call.send(timeout, remote::ExecQuery, "(sss)", dbName.c_str(), table.c_str(), query.c_str()).answered()
        || !call.sized())
        return;
    int status = 0;
    if (call.statusOnly())
        call.decode("(i*)", status);
    else
        call.decode("(ii*)", status, result);
    if (call.decoded())
        call.checkStatus(status);
}

// Identity -----------------------------------------------------------------------------------------------------

void XmlrpcClient::actualizaIdentificacion(std::string& campo1, std::string& campo2, std::string& campo3, int& campo4,
                                           std::string& campo5, std::string& campo6, std::string& campo7, int timeout)
{
    RemoteCall call(*this, logged("actualizaIdentificacion : host : " + host));
    if (!call.send(timeout, remote::ActualizaIdentificacion, "(i)", asInt(0)).answered() || !call.sized())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", status);
    } else {
        DecodedText text1, text2, text3, text5, text6, text7;
        call.decode("(isssisss*)", status, text1, text2, text3, campo4, text5, text6, text7);
        campo1 = text1.copy();
        campo2 = text2.copy();
        campo3 = text3.copy();
        campo5 = text5.copy();
        campo6 = text6.copy();
        campo7 = text7.copy();
    }
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::getAlarmasEstadoControlador(std::string& alarmas, int& status, int timeout)
{
    RemoteCall call(*this, logged("getAlarmasEstadoControlador : host : " + host));
    if (!call.send(timeout, remote::GetAlarmasEstadoControlador, "(i)", asInt(0)).answered() || !call.sized())
        return;
    if (call.statusOnly()) {
        call.decode("(i*)", status);
    } else {
        DecodedText text;
        call.decode("(is*)", status, text);
        alarmas = text.copy();
    }
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::checkSincronizado(int entrada, int& status, int timeout)
{
    RemoteCall call(*this, logged("checkSincronizado : entrada: " + std::to_string(entrada)));
    if (!call.send(timeout, remote::CheckSincronizado, "(i)", asInt(entrada)).answered())
        return;
    call.decode("(i*)", status);
    call.decoded(); // the status is the answer, never a fault
}

void XmlrpcClient::xmlrpc_changes(int& changes, int timeout)
{
    // The label has another name than the operation, and no blank before the colon.
    RemoteCall call(*this, logged("changes :host : " + host + ", dbName : " + dbName));
    if (!call.send(timeout, remote::Changes, "(s)", dbName.c_str()).answered() || !call.sized())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", status);
    } else {
        call.decode("(ii*)", status, changes);
        if (!call.failedToDecode())
            logLine(LOG_DEBUG, "check_changes result %d, tmp_changes : %d", status, changes);
    }
    if (call.decoded())
        call.checkStatus(status);
}

// Administration -----------------------------------------------------------------------------------------------

void XmlrpcClient::resetModuleToFactorySettings(int timeout)
{
    RemoteCall call(*this, logged("resetModuleToFactorySettings : host : " + host));
    if (!call.send(timeout, remote::ResetFactoryEsclavo, "()").answered())
        return;
    int status = 0;
    call.decode("(i*)", status);
    call.decoded(); // a refusal is dropped
}

void XmlrpcClient::getHoraModulo(unsigned short parametro, unsigned long long& hora, int& status, int timeout)
{
    RemoteCall call(*this, logged("getHoraModulo"));
    if (!call.send(timeout, remote::RdHora, "(i)", asInt(parametro)).answered())
        return;
    xmlrpc_int64 clock = 0;
    call.decode("(iI*)", status, clock);
    if (!call.failedToDecode()) {
        hora = static_cast<unsigned long long>(clock);
        logLine(LOG_DEBUG, "horaActual %llu", hora);
    }
    call.decoded(); // the status is for the caller, never a fault
}

void XmlrpcClient::setRefrescoWeb(unsigned short valor, int& status, int timeout)
{
    RemoteCall call(*this, logged("setRefrescoWeb : host : " + host + " valor: " + std::to_string(valor)));
    if (!call.send(timeout, remote::ActualizaRefrescoWeb, "(i)", asInt(valor)).answered())
        return;
    call.decode("(i*)", status);
    call.decoded(); // the status is for the caller, never a fault
}

void XmlrpcClient::updateNTP(int timeout)
{
    RemoteCall call(*this, logged("updateNTP"));
    if (!call.send(timeout, remote::UpdateNTP, "()").answered())
        return;
    int status = 0;
    call.decode("(i*)", status);
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::ejecutar_script(std::string nombre_script, int timeout)
{
    RemoteCall call(*this, logged("ejecutar_script : nombre_script : " + nombre_script));
    if (!call.send(timeout, remote::EjecutarScript, "(s)", nombre_script.c_str()).answered())
        return;
    int status = 0;
    call.decode("(i*)", status);
    logLine(LOG_DEBUG, "ejecutar_script result %d", status);
    // The reply of a script that failed is not released.
    if (status != 0 && !call.failedToDecode())
        call.leakReply();
    if (call.decoded())
        call.checkStatus(status);
}

// Tuning -------------------------------------------------------------------------------------------------------

void XmlrpcClient::sintonizarCanalTerr(tcanal canal, int parametro, int& status, bool indicador, int timeout)
{
    RemoteCall call(*this, logged("sintonizarCanalTerr : frecuencia: " + std::to_string(canal.frecuencia) + "\n"));
    if (!call.send(timeout, remote::SintonizarCanalTerr, "(iiiib)", asInt(canal.frecuencia), asInt(canal.parametroTerr),
                   asInt(parametro), asInt(canal.parametroComun), xmlrpc_bool(indicador))
             .answered())
        return;
    call.decode("(i*)", status);
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::sintonizarCanalSat(tcanal canal, int parametro, int& status, bool indicador, int parametroExtraSat,
                                      int timeout)
{
    // The frequency is logged and not sent; the intermediate one goes in its place.
    RemoteCall call(*this, logged("sintonizarCanalSat : frecuencia: " + std::to_string(canal.frecuencia)
                                  + " frecuencia intermedia: " + std::to_string(canal.frecuenciaIntermedia) + "\n"));
    if (!call.send(timeout, remote::SintonizarCanalSat, "(iiiiiiiib)", asInt(canal.frecuenciaIntermedia),
                   asInt(canal.parametroSat), asInt(parametro), asInt(canal.parametroComun), asInt(canal.parametroSat2),
                   asInt(canal.parametroSat3), asInt(canal.parametroSat4), asInt(parametroExtraSat),
                   xmlrpc_bool(indicador))
             .answered())
        return;
    call.decode("(i*)", status);
    if (call.decoded())
        call.checkStatus(status);
}

// Scanning -----------------------------------------------------------------------------------------------------

void XmlrpcClient::initInputScan(int entrada, int tipoScan, int& status, unsigned char bandaScan, int timeout)
{
    // The band is logged as the character it holds.
    RemoteCall call(*this, logged("initInputScan : Entrada: " + std::to_string(entrada) + " tipoScan: "
                                  + std::to_string(tipoScan) + " bandaScan: " + static_cast<char>(bandaScan) + "\n"));
    if (!call.send(timeout, remote::InitInputScan, "(iii)", asInt(entrada), asInt(tipoScan), asInt(bandaScan))
             .answered())
        return;
    call.decode("(i*)", status);
    if (call.decoded() && status < 0) // zero and more identify the scan
        call.refused(status);
}

void XmlrpcClient::statusInputScan(int entrada, int idScan, int& status, int timeout)
{
    RemoteCall call(*this, logged("statusInputScan : Entrada: " + std::to_string(entrada)
                                  + " idScan: " + std::to_string(idScan) + "\n"));
    if (!call.send(timeout, remote::StatusInputScan, "(ii)", asInt(entrada), asInt(idScan)).answered())
        return;
    call.decode("(i*)", status);
    if (call.decoded() && status < 0) // zero and more are the scan's progress
        call.refused(status);
}

void XmlrpcClient::getScanReport(int entrada, int idScan, std::string& report, int& status, int timeout)
{
    RemoteCall call(*this, logged("getScanReport : Entrada: " + std::to_string(entrada)
                                  + " idScan: " + std::to_string(idScan) + "\n"));
    if (!call.send(timeout, remote::getScanReport, "(ii)", asInt(entrada), asInt(idScan)).answered())
        return;
    DecodedText text;
    call.decode("(is*)", status, text);
    // The reply that lacks the text, for which the copy throws, is not released.
    if (call.failedToDecode())
        call.leakReply();
    report = text.copy();
    if (call.decoded() && status < 0) // zero and more are results
        call.refused(status);
}

void XmlrpcClient::cancelInputScan(int entrada, int timeout)
{
    RemoteCall call(*this, logged("cancelInputScan : Entrada: " + std::to_string(entrada) + "\n"));
    if (!call.send(timeout, remote::CancelInputScan, "(i)", asInt(entrada)).answered())
        return;
    int status = 0;
    call.decode("(i*)", status);
    if (call.decoded())
        call.checkStatus(status); // unlike its siblings, any status but 0 is an error
}

// Hardware -----------------------------------------------------------------------------------------------------

void XmlrpcClient::getFPGASOC(unsigned long& soc, int& status, int timeout)
{
    RemoteCall call(*this, logged("getFPGASOC"));
    if (!call.send(timeout, remote::get_FPGA_SOC, "()").answered())
        return;
    // The value comes first and the status second.
    int value = 0;
    call.decode("(ii*)", value, status);
    if (!call.decoded())
        return;
    soc = static_cast<unsigned long>(value);
    call.checkStatus(status);
}

void XmlrpcClient::changeFPGASOC(unsigned long newSOC, int& status, int timeout)
{
    RemoteCall call(*this, logged("changeFPGASOC : host : " + host + " newSOC: " + std::to_string(newSOC)));
    if (!call.send(timeout, remote::Change_FPGA_SOC, "(i)", asInt(newSOC)).answered())
        return;
    call.decode("(i*)", status);
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::generarJSONWeb(int parametro, std::string& json, int timeout)
{
    RemoteCall call(*this, logged("generarJSONWeb"));
    if (!call.send(timeout, remote::Generate_JSON_WEB, "(i)", asInt(parametro)).answered() || !call.sized())
        return;
    logLine(LOG_DEBUG, "size %i", call.size());
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", status);
    } else {
        DecodedText text;
        call.decode("(is*)", status, text);
        json = text.copy();
    }
    if (call.decoded())
        call.checkStatus(status);
}

// Files --------------------------------------------------------------------------------------------------------

void XmlrpcClient::DlFicheroEsclavo(const std::string& ruta_archivo, int& status, int timeout)
{
    RemoteCall call(*this, logged("DlFicheroEsclavo : ruta_archivo : " + ruta_archivo));
    // The format is no parameter list: xmlrpc-c refuses it before anything is sent.
    if (!call.send(timeout, remote::BorrarArchivo, "s", ruta_archivo.c_str()).answered())
        return;
    call.decode("(i*)", status);
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::RdFicheroEsclavo(const std::string& ruta_archivo, int borrar_archivo, std::vector<char>& contenido,
                                    int timeout)
{
    RemoteCall call(*this, logged("RdFicheroEsclavo : ruta_archivo : " + ruta_archivo
                                  + " borrar_archivo: " + std::to_string(borrar_archivo)));
    if (!call.send(timeout, remote::RecibirArchivo, "(si)", ruta_archivo.c_str(), asInt(borrar_archivo)).answered()
        || !call.sized())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", status);
    } else {
        DecodedBlock block;
        call.decode("(i6*)", status, block);
        block.copyTo(contenido, block.size);
    }
    if (call.decoded())
        call.checkStatus(status);
}

// Tables -------------------------------------------------------------------------------------------------------

namespace {

std::unique_ptr<unsigned char[]> temporaryCopy(const std::vector<char>& block)
{
    std::unique_ptr<unsigned char[]> copy(new unsigned char[block.size()]);
    if (!block.empty())
        std::memmove(copy.get(), block.data(), block.size());
    return copy;
}

// A table's size is kept in 16 bits; the bytes beyond (size modulo 65536) are dropped.
unsigned short tableSize(const DecodedBlock& block)
{
    return static_cast<unsigned short>(block.size);
}

} // namespace

void XmlrpcClient::wrFicheroTablasSI(int tipo_fichero, int parametro, const std::vector<char>& bloque, int timeout)
{
    RemoteCall call(*this, logged("wrFicheroTablasSI : host : " + host + ", tipo_fichero :"
                                  + std::to_string(tipo_fichero) + ", longitud :" + std::to_string(bloque.size())));
    auto copy = temporaryCopy(bloque);
    call.send(timeout, remote::wrFicheroTablasSI, "(ii6)", asInt(tipo_fichero), asInt(parametro), copy.get(),
              bloque.size());
    copy.reset(); // before any outcome is looked at
    if (!call.answered())
        return;
    int status = 0;
    call.decode("(i*)", status);
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::configureSAPServer(int SAPMode, int parametro, const std::vector<char>& bloque, int timeout)
{
    RemoteCall call(*this, logged("configureSAPServer : host : " + host + ", SAPMode :" + std::to_string(SAPMode)
                                  + ", longitud :" + std::to_string(bloque.size())));
    auto copy = temporaryCopy(bloque);
    call.send(timeout, remote::configureSAP, "(ii6)", asInt(SAPMode), asInt(parametro), copy.get(), bloque.size());
    copy.reset(); // before any outcome is looked at
    if (!call.answered())
        return;
    int status = 0;
    call.decode("(i*)", status);
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::rdFicheroTablasSI(int source, int id_tabla, int ext1, int ext2, int ext3, std::vector<char>& bloque,
                                     int timeout)
{
    RemoteCall call(*this, logged("rdFicheroTablasSI : host : " + host + ", source :" + std::to_string(source)
                                  + ", id_tabla :" + std::to_string(id_tabla) + ", ext1 :" + std::to_string(ext1)
                                  + ", ext2 :" + std::to_string(ext2) + ", ext3 :" + std::to_string(ext3) + " timeout "
                                  + std::to_string(timeout)));
    if (!call.send(timeout, remote::RdFicheroTablasSI, "(iiiii)", asInt(source), asInt(id_tabla), asInt(ext1),
                   asInt(ext2), asInt(ext3))
             .answered()
        || !call.sized())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", status);
    } else {
        DecodedBlock block;
        call.decode("(i6*)", status, block);
        logLine(LOG_DEBUG, "longitud %i", tableSize(block));
        block.copyTo(bloque, tableSize(block));
    }
    if (call.decoded())
        call.checkStatus(status);
}

void XmlrpcClient::rdFicheroResumen(int source, int id_resumen, std::vector<char>& bloque, int timeout)
{
    RemoteCall call(*this, logged("rdFicheroResumen : host : " + host + ", source :" + std::to_string(source)
                                  + ", id_resumen :" + std::to_string(id_resumen)));
    if (!call.send(timeout, remote::RdFicheroResumen, "(ii)", asInt(source), asInt(id_resumen)).answered()
        || !call.sized())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i)", status); // exactly one, unlike its sibling
    } else {
        DecodedBlock block;
        call.decode("(i6*)", status, block);
        block.copyTo(bloque, tableSize(block));
    }
    if (call.decoded())
        call.checkStatus(status);
}

} // namespace nelka
