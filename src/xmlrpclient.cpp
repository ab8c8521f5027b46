// The client: the frame of a remote call, the core, then the operations family by family.

// Keep first: the static strings in remotemethods.h must be constructed after the standard streams.
#include <iostream>

#include "xmlrpclient.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "decoded.h"
#include "interruption.h"
#include "logging.h"
#include "screenedtransport.h"

namespace nelka {

namespace remote {

// Never sent, and defined in this file only.
[[maybe_unused]] static const std::string NO_TABLE = "NO_TABLE";

} // namespace remote

namespace {

const char* const sourceFile = "src/xmlrpclient.cpp";
constexpr unsigned int transportTimeoutMs = 17000;
constexpr std::size_t xmlSizeLimit = 1048576;

// An argument of format "i": the low 32 bits of any integer.
template <typename Integer>
constexpr xmlrpc_int32 asInt(Integer value)
{
    return static_cast<xmlrpc_int32>(value);
}

} // namespace

// The frame that every remote operation runs in: log(), send(), takeReply(), perhaps measure(), decode(), finish(). A
// step that returns false has reported the failure, and the operation ends there.
class XmlrpcClient::RemoteCall {
public:
    explicit RemoteCall(XmlrpcClient& owner) : client(owner) {}
    ~RemoteCall() { release(); }
    RemoteCall(const RemoteCall&) = delete;
    RemoteCall& operator=(const RemoteCall&) = delete;

    // The debug line, which the error lines repeat.
    void log(std::string debugLine)
    {
        describe(std::move(debugLine));
        logLine(LOG_DEBUG, "%s", message.c_str());
    }

    void describe(std::string debugLine) { message = std::move(debugLine); }

    template <typename... Values>
    void send(int timeout, const std::string& method, const char* format, Values... values)
    {
        if (!prepare())
            return;
        running.emplace();
        client.set_timer(static_cast<unsigned short>(timeout));
        xmlrpc_client_call2f(&client.env, client.client, client.serverUrl.c_str(), method.c_str(), &reply, format,
                             values...);
        writeRecordedSignals();
    }

    // Tells interruption, fault and answer apart; only an answer disarms the timer.
    bool takeReply()
    {
        const bool cutShort = running && running->interrupted();
        if (cutShort || client.env.fault_occurred) {
            running.reset();
            cutShort ? reportInterruption() : reportFault();
            return false;
        }
        client.set_timer(0);
        running.reset();
        return true;
    }

    // Reads the number of elements, for operations whose reply has a short and a long shape.
    bool measure()
    {
        elements = xmlrpc_array_size(&client.env, reply);
        decodeFailed = client.env.fault_occurred;
        return decodeFailed ? finish() : true;
    }

    int size() const { return elements; }

    bool statusOnly() const { return elements == 1; }

    template <typename... Outputs>
    void decode(const char* shape, Outputs*... outputs)
    {
        xmlrpc_decompose_value(&client.env, reply, shape, outputs...);
        decodeFailed = client.env.fault_occurred;
        if (decodeFailed)
            (forgetBuffer(outputs), ...);
    }

    bool failedToDecode() const { return decodeFailed; }

    // Ends the decoding, once the outputs have been copied: reports a failure and releases the reply.
    bool finish()
    {
        if (decodeFailed)
            reportFault();
        release();
        return !decodeFailed;
    }

    // The same for operations where any status but 0 is a refusal.
    void finish(int status)
    {
        if (finish() && status != 0)
            refuse(status);
    }

    void refuse(int status)
    {
        logLine(LOG_ERR, "Error recibido desde el esclavo: mensaje : %s, error : %i\n", message.c_str(), status);
        logLine(LOG_ERR, "Error in file %s, line %d\n", sourceFile, __LINE__);
        client.setFault(status);
    }

    void leakReply() { reply = nullptr; }

private:
    // Clears what the last call, or a ResultSet after it, recorded: xmlrpc-c makes no call with an environment that
    // holds a fault.
    bool prepare()
    {
        client.clearFault();
        xmlrpc_env_clean(&client.env);
        xmlrpc_env_init(&client.env);
        if (!client.client)
            xmlrpc_env_set_fault(&client.env, XMLRPC_INTERNAL_ERROR, "client not ready");
        return client.client;
    }

    void reportInterruption()
    {
        logLine(LOG_ERR, "XML-RPC Fault: TIMEOUT POR SIGNAL  mensaje : %s in file %s, line %d\n", message.c_str(),
                sourceFile, __LINE__);
        client.setFault(XMLRPC_TIMEOUT_ERROR);
        lowerInterruptFlag();
        // An answer that came anyway is not delivered, and the environment must say so.
        if (!client.env.fault_occurred)
            xmlrpc_env_set_fault(&client.env, XMLRPC_TIMEOUT_ERROR, "the call was cut short");
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

    const LibraryCode inside;
    XmlrpcClient& client;
    std::string message;
    std::optional<RunningCall> running;
    xmlrpc_value* reply = nullptr;
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
    const LibraryCode inside;
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

    {
        const ScreenedTransport screened;
        xmlrpc_client_create(&env, 0, appName.c_str(), appVersion.c_str(), &parameters,
                             XMLRPC_CPSIZE(transportparm_size), &client);
    }
    if (env.fault_occurred) {
        client = nullptr;
        return failedSetUp(env, __LINE__);
    }
    xmlrpc_client_set_interrupt(client, interruptFlag());

    logLine(LOG_DEBUG, "XMLRPC_XML_SIZE_LIMIT_DEFAULT: %i", static_cast<int>(xmlSizeLimit));
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, xmlSizeLimit);

    lowerInterruptFlag();
    return 0;
}

void XmlrpcClient::cleanup()
{
    const LibraryCode inside;
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
    handleSignals(interruptRpc);
}

void XmlrpcClient::interruptRpc(int signal)
{
    interrupt(signal);
}

void XmlrpcClient::set_timer(unsigned short milliseconds)
{
    const LibraryCode inside;
    logLine(LOG_DEBUG, "INICIO ALARMA %i", static_cast<int>(milliseconds));
    startTimer(milliseconds);
}

void XmlrpcClient::sampleadd(int timeout)
{
    // The probe's line is not logged, only repeated in its error lines.
    RemoteCall call(*this);
    call.describe("sampleadd : host : " + host);
    call.send(timeout, "sample.add", "(ii)", asInt(10), asInt(5));
    if (!call.takeReply())
        return;
    int sum = 0;
    call.decode("(i*)", &sum);
    if (!call.finish())
        return;
    logLine(LOG_INFO, "Resultado %i\n", sum);
    std::cout << "RESULTADO " << std::to_string(sum);
}

namespace {

// A socket for ioctl() requests about interfaces.
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
    const LibraryCode inside;
    ifreq request = aboutLocalInterface();
    const QuerySocket query;
    // The descriptor is cut to 16 bits and not checked: this function never fails.
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
    const LibraryCode inside;
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
    RemoteCall call(*this);
    call.log("getTable host : " + host + ", dbName : " + dbName + ", query : " + query);
    call.send(timeout, remote::GetTable, "(ss)", dbName.c_str(), query.c_str());
    if (!call.takeReply() || !call.measure())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", &status);
    } else {
        DecodedArray table;
        call.decode("(iA*)", &status, &table.array);
        // A table that cannot be filled in shows in the environment only; the call has no fault.
        if (!call.failedToDecode())
            result.fill(env, table.array);
    }
    call.finish(status);
}

void XmlrpcClient::execQuery(std::string query, int& result, std::string table, int timeout)
{
    RemoteCall call(*this);
    call.log("execQuery : host : " + host + ", dbName : " + dbName + ", DBtable : " + table + ", query : " + query);
    // The table goes before the query.
    call.send(timeout, remote::ExecQuery, "(sss)", dbName.c_str(), table.c_str(), query.c_str());
    if (!call.takeReply() || !call.measure())
        return;
    int status = 0;
    if (call.statusOnly())
        call.decode("(i*)", &status);
    else
        call.decode("(ii*)", &status, &result);
    call.finish(status);
}

// Identity -----------------------------------------------------------------------------------------------------

void XmlrpcClient::actualizaIdentificacion(std::string& campo1, std::string& campo2, std::string& campo3, int& campo4,
                                           std::string& campo5, std::string& campo6, std::string& campo7, int timeout)
{
    RemoteCall call(*this);
    call.log("actualizaIdentificacion : host : " + host);
    call.send(timeout, remote::ActualizaIdentificacion, "(i)", asInt(0));
    if (!call.takeReply() || !call.measure())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", &status);
    } else {
        DecodedText text1, text2, text3, text5, text6, text7;
        call.decode("(isssisss*)", &status, &text1.text, &text2.text, &text3.text, &campo4, &text5.text, &text6.text,
                    &text7.text);
        campo1 = text1.copy();
        campo2 = text2.copy();
        campo3 = text3.copy();
        campo5 = text5.copy();
        campo6 = text6.copy();
        campo7 = text7.copy();
    }
    call.finish(status);
}

void XmlrpcClient::getAlarmasEstadoControlador(std::string& alarmas, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("getAlarmasEstadoControlador : host : " + host);
    call.send(timeout, remote::GetAlarmasEstadoControlador, "(i)", asInt(0));
    if (!call.takeReply() || !call.measure())
        return;
    if (call.statusOnly()) {
        call.decode("(i*)", &status);
    } else {
        DecodedText text;
        call.decode("(is*)", &status, &text.text);
        alarmas = text.copy();
    }
    call.finish(status);
}

void XmlrpcClient::checkSincronizado(int entrada, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("checkSincronizado : entrada: " + std::to_string(entrada));
    call.send(timeout, remote::CheckSincronizado, "(i)", asInt(entrada));
    if (!call.takeReply())
        return;
    call.decode("(i*)", &status);
    call.finish(); // the status is the answer, never a fault
}

void XmlrpcClient::xmlrpc_changes(int& changes, int timeout)
{
    // The label differs from the operation's name and has no blank after the colon.
    RemoteCall call(*this);
    call.log("changes :host : " + host + ", dbName : " + dbName);
    call.send(timeout, remote::Changes, "(s)", dbName.c_str());
    if (!call.takeReply() || !call.measure())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", &status);
    } else {
        call.decode("(ii*)", &status, &changes);
        if (!call.failedToDecode())
            logLine(LOG_DEBUG, "check_changes result %d, tmp_changes : %d", status, changes);
    }
    call.finish(status);
}

// Administration -----------------------------------------------------------------------------------------------

void XmlrpcClient::resetModuleToFactorySettings(int timeout)
{
    RemoteCall call(*this);
    call.log("resetModuleToFactorySettings : host : " + host);
    call.send(timeout, remote::ResetFactoryEsclavo, "()");
    if (!call.takeReply())
        return;
    int status = 0;
    call.decode("(i*)", &status);
    call.finish(); // a refusal is dropped
}

void XmlrpcClient::getHoraModulo(unsigned short parametro, unsigned long long& hora, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("getHoraModulo");
    call.send(timeout, remote::RdHora, "(i)", asInt(parametro));
    if (!call.takeReply())
        return;
    xmlrpc_int64 clock = 0;
    call.decode("(iI*)", &status, &clock);
    if (!call.failedToDecode()) {
        hora = static_cast<unsigned long long>(clock);
        logLine(LOG_DEBUG, "horaActual %llu", hora);
    }
    call.finish(); // the status is for the caller, never a fault
}

void XmlrpcClient::setRefrescoWeb(unsigned short valor, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("setRefrescoWeb : host : " + host + " valor: " + std::to_string(valor));
    call.send(timeout, remote::ActualizaRefrescoWeb, "(i)", asInt(valor));
    if (!call.takeReply())
        return;
    call.decode("(i*)", &status);
    call.finish(); // the status is for the caller, never a fault
}

void XmlrpcClient::updateNTP(int timeout)
{
    RemoteCall call(*this);
    call.log("updateNTP");
    call.send(timeout, remote::UpdateNTP, "()");
    if (!call.takeReply())
        return;
    int status = 0;
    call.decode("(i*)", &status);
    call.finish(status);
}

void XmlrpcClient::ejecutar_script(std::string nombre_script, int timeout)
{
    RemoteCall call(*this);
    call.log("ejecutar_script : nombre_script : " + nombre_script);
    call.send(timeout, remote::EjecutarScript, "(s)", nombre_script.c_str());
    if (!call.takeReply())
        return;
    int status = 0;
    call.decode("(i*)", &status);
    logLine(LOG_DEBUG, "ejecutar_script result %d", status);
    // The reply of a script that failed is not released.
    if (status != 0 && !call.failedToDecode())
        call.leakReply();
    call.finish(status);
}

// Tuning -------------------------------------------------------------------------------------------------------

void XmlrpcClient::sintonizarCanalTerr(tcanal canal, int parametro, int& status, bool indicador, int timeout)
{
    RemoteCall call(*this);
    call.log("sintonizarCanalTerr : frecuencia: " + std::to_string(canal.frecuencia) + "\n");
    call.send(timeout, remote::SintonizarCanalTerr, "(iiiib)", asInt(canal.frecuencia), asInt(canal.parametroTerr),
              asInt(parametro), asInt(canal.parametroComun), xmlrpc_bool(indicador));
    if (!call.takeReply())
        return;
    call.decode("(i*)", &status);
    call.finish(status);
}

void XmlrpcClient::sintonizarCanalSat(tcanal canal, int parametro, int& status, bool indicador, int parametroExtraSat,
                                      int timeout)
{
    // The frequency is only logged; the intermediate one is sent.
    RemoteCall call(*this);
    call.log("sintonizarCanalSat : frecuencia: " + std::to_string(canal.frecuencia)
             + " frecuencia intermedia: " + std::to_string(canal.frecuenciaIntermedia) + "\n");
    call.send(timeout, remote::SintonizarCanalSat, "(iiiiiiiib)", asInt(canal.frecuenciaIntermedia),
              asInt(canal.parametroSat), asInt(parametro), asInt(canal.parametroComun), asInt(canal.parametroSat2),
              asInt(canal.parametroSat3), asInt(canal.parametroSat4), asInt(parametroExtraSat), xmlrpc_bool(indicador));
    if (!call.takeReply())
        return;
    call.decode("(i*)", &status);
    call.finish(status);
}

// Scanning -----------------------------------------------------------------------------------------------------

void XmlrpcClient::initInputScan(int entrada, int tipoScan, int& status, unsigned char bandaScan, int timeout)
{
    // The band is logged as the character it holds.
    RemoteCall call(*this);
    call.log("initInputScan : Entrada: " + std::to_string(entrada) + " tipoScan: " + std::to_string(tipoScan)
             + " bandaScan: " + static_cast<char>(bandaScan) + "\n");
    call.send(timeout, remote::InitInputScan, "(iii)", asInt(entrada), asInt(tipoScan), asInt(bandaScan));
    if (!call.takeReply())
        return;
    call.decode("(i*)", &status);
    if (call.finish() && status < 0) // zero and more identify the scan
        call.refuse(status);
}

void XmlrpcClient::statusInputScan(int entrada, int idScan, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("statusInputScan : Entrada: " + std::to_string(entrada) + " idScan: " + std::to_string(idScan) + "\n");
    call.send(timeout, remote::StatusInputScan, "(ii)", asInt(entrada), asInt(idScan));
    if (!call.takeReply())
        return;
    call.decode("(i*)", &status);
    if (call.finish() && status < 0) // zero and more are the scan's progress
        call.refuse(status);
}

void XmlrpcClient::getScanReport(int entrada, int idScan, std::string& report, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("getScanReport : Entrada: " + std::to_string(entrada) + " idScan: " + std::to_string(idScan) + "\n");
    call.send(timeout, remote::getScanReport, "(ii)", asInt(entrada), asInt(idScan));
    if (!call.takeReply())
        return;
    DecodedText text;
    call.decode("(is*)", &status, &text.text);
    // If the text is missing, copy() throws and the reply is not released.
    if (call.failedToDecode())
        call.leakReply();
    report = text.copy();
    if (call.finish() && status < 0) // zero and more are results
        call.refuse(status);
}

void XmlrpcClient::cancelInputScan(int entrada, int timeout)
{
    RemoteCall call(*this);
    call.log("cancelInputScan : Entrada: " + std::to_string(entrada) + "\n");
    call.send(timeout, remote::CancelInputScan, "(i)", asInt(entrada));
    if (!call.takeReply())
        return;
    int status = 0;
    call.decode("(i*)", &status);
    call.finish(status); // unlike its siblings, any status but 0 is an error
}

// Hardware -----------------------------------------------------------------------------------------------------

void XmlrpcClient::getFPGASOC(unsigned long& soc, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("getFPGASOC");
    call.send(timeout, remote::get_FPGA_SOC, "()");
    if (!call.takeReply())
        return;
    // The value comes first and the status second.
    int value = 0;
    call.decode("(ii*)", &value, &status);
    if (!call.failedToDecode())
        soc = static_cast<unsigned long>(value);
    call.finish(status);
}

void XmlrpcClient::changeFPGASOC(unsigned long newSOC, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("changeFPGASOC : host : " + host + " newSOC: " + std::to_string(newSOC));
    call.send(timeout, remote::Change_FPGA_SOC, "(i)", asInt(newSOC));
    if (!call.takeReply())
        return;
    call.decode("(i*)", &status);
    call.finish(status);
}

void XmlrpcClient::generarJSONWeb(int parametro, std::string& json, int timeout)
{
    RemoteCall call(*this);
    call.log("generarJSONWeb");
    call.send(timeout, remote::Generate_JSON_WEB, "(i)", asInt(parametro));
    if (!call.takeReply() || !call.measure())
        return;
    logLine(LOG_DEBUG, "size %i", call.size());
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", &status);
    } else {
        DecodedText text;
        call.decode("(is*)", &status, &text.text);
        json = text.copy();
    }
    call.finish(status);
}

// Files --------------------------------------------------------------------------------------------------------

void XmlrpcClient::DlFicheroEsclavo(const std::string& ruta_archivo, int& status, int timeout)
{
    RemoteCall call(*this);
    call.log("DlFicheroEsclavo : ruta_archivo : " + ruta_archivo);
    // The format is not a parameter list: xmlrpc-c rejects it and sends nothing.
    call.send(timeout, remote::BorrarArchivo, "s", ruta_archivo.c_str());
    if (!call.takeReply())
        return;
    call.decode("(i*)", &status);
    call.finish(status);
}

void XmlrpcClient::RdFicheroEsclavo(const std::string& ruta_archivo, int borrar_archivo, std::vector<char>& contenido,
                                    int timeout)
{
    RemoteCall call(*this);
    call.log("RdFicheroEsclavo : ruta_archivo : " + ruta_archivo
             + " borrar_archivo: " + std::to_string(borrar_archivo));
    call.send(timeout, remote::RecibirArchivo, "(si)", ruta_archivo.c_str(), asInt(borrar_archivo));
    if (!call.takeReply() || !call.measure())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", &status);
    } else {
        DecodedBlock block;
        call.decode("(i6*)", &status, &block.bytes, &block.size);
        block.copyTo(contenido, block.size);
    }
    call.finish(status);
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
    RemoteCall call(*this);
    call.log("wrFicheroTablasSI : host : " + host + ", tipo_fichero :" + std::to_string(tipo_fichero)
             + ", longitud :" + std::to_string(bloque.size()));
    auto copy = temporaryCopy(bloque);
    call.send(timeout, remote::wrFicheroTablasSI, "(ii6)", asInt(tipo_fichero), asInt(parametro), copy.get(),
              bloque.size());
    copy.reset(); // before any outcome is looked at
    if (!call.takeReply())
        return;
    int status = 0;
    call.decode("(i*)", &status);
    call.finish(status);
}

void XmlrpcClient::configureSAPServer(int SAPMode, int parametro, const std::vector<char>& bloque, int timeout)
{
    RemoteCall call(*this);
    call.log("configureSAPServer : host : " + host + ", SAPMode :" + std::to_string(SAPMode)
             + ", longitud :" + std::to_string(bloque.size()));
    auto copy = temporaryCopy(bloque);
    call.send(timeout, remote::configureSAP, "(ii6)", asInt(SAPMode), asInt(parametro), copy.get(), bloque.size());
    copy.reset(); // before any outcome is looked at
    if (!call.takeReply())
        return;
    int status = 0;
    call.decode("(i*)", &status);
    call.finish(status);
}

void XmlrpcClient::rdFicheroTablasSI(int source, int id_tabla, int ext1, int ext2, int ext3, std::vector<char>& bloque,
                                     int timeout)
{
    RemoteCall call(*this);
    call.log("rdFicheroTablasSI : host : " + host + ", source :" + std::to_string(source) + ", id_tabla :"
             + std::to_string(id_tabla) + ", ext1 :" + std::to_string(ext1) + ", ext2 :" + std::to_string(ext2)
             + ", ext3 :" + std::to_string(ext3) + " timeout " + std::to_string(timeout));
    call.send(timeout, remote::RdFicheroTablasSI, "(iiiii)", asInt(source), asInt(id_tabla), asInt(ext1), asInt(ext2),
              asInt(ext3));
    if (!call.takeReply() || !call.measure())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i*)", &status);
    } else {
        DecodedBlock block;
        call.decode("(i6*)", &status, &block.bytes, &block.size);
        logLine(LOG_DEBUG, "longitud %i", tableSize(block));
        block.copyTo(bloque, tableSize(block));
    }
    call.finish(status);
}

void XmlrpcClient::rdFicheroResumen(int source, int id_resumen, std::vector<char>& bloque, int timeout)
{
    RemoteCall call(*this);
    call.log("rdFicheroResumen : host : " + host + ", source :" + std::to_string(source)
             + ", id_resumen :" + std::to_string(id_resumen));
    call.send(timeout, remote::RdFicheroResumen, "(ii)", asInt(source), asInt(id_resumen));
    if (!call.takeReply() || !call.measure())
        return;
    int status = 0;
    if (call.statusOnly()) {
        call.decode("(i)", &status); // exactly one element, unlike its sibling
    } else {
        DecodedBlock block;
        call.decode("(i6*)", &status, &block.bytes, &block.size);
        block.copyTo(bloque, tableSize(block));
    }
    call.finish(status);
}

} // namespace nelka
