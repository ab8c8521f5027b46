// The master's end: drives one slave module over XML-RPC.
#ifndef NELKANET_XMLRPCLIENT_H
#define NELKANET_XMLRPCLIENT_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <xmlrpc-c/base.h>
#include <xmlrpc-c/client.h>

#include <nelkadb/cdb.h>
#include <nelkadb/resultset.h>

#include "remotemethods.h"
#include "version.h"

namespace nelka {

/// A channel's tuning parameters, in the units and with the meanings that the slave gives them; nothing is converted.
struct tcanal {
    std::uint32_t frecuencia = 0;           ///< channel frequency; logged for both kinds, sent for terrestrial ones
    std::uint32_t frecuenciaIntermedia = 0; ///< intermediate frequency; logged and sent for satellite channels
    std::int32_t parametroSat = 0;          ///< sent for satellite channels
    std::uint16_t parametroTerr = 0;        ///< sent for terrestrial channels
    std::uint16_t parametroSat2 = 0;        ///< sent for satellite channels
    std::uint16_t parametroComun = 0;       ///< sent for both kinds
    std::uint16_t parametroSat3 = 0;        ///< sent for satellite channels
    std::uint16_t parametroSat4 = 0;        ///< sent for satellite channels
};

/// One slave module, as its master sees it.
///
/// Construct it, assign `dbName` for the database operations, call init(), then call remote operations; each is one
/// XML-RPC call. updateHostInterfaz() changes the address, resetConn() renews the connection.
///
/// **Outcome.** Remote operations return nothing. After each, getFault() is
/// - 0: the call succeeded and the slave reported no error, or the operation ignores its status;
/// - -505: the operation's time-out passed, or a SIGINT arrived; a handler of the application can tell which;
/// - an xmlrpc-c fault code (-500 to -510) or the code of the slave's fault response, which may be any number, even 0:
///   no usable answer came;
/// - any other value: the slave refused with this status, which may be any number too.
///
/// environment() holds a fault, with the reason, after a time-out, a SIGINT or no usable answer, and none after a
/// success or a refusal. It also holds one when getTable() could not fill its result.
///
/// **Outputs.** An output is written only when its part of the reply has been decoded: after a time-out, an
/// interruption or a transport fault every output is untouched. A payload is delivered even with an error status. A
/// byte block becomes empty when the reply is an array of other than one element and cannot be decoded.
///
/// **Texts.** CR and CRLF become LF, both ways. An argument that is not valid UTF-8 or has a character beyond U+FFFD
/// ends the call with -510; for control characters in it the slave answers -503. A character beyond U+FFFF in a reply
/// ends the call with -510, a reply that is not valid UTF-8 with -503.
///
/// **Time-outs.** The last parameter of each remote operation is its time-out in milliseconds, cut to its low 16 bits:
/// 1 to 65535; 0 arms no timer. The transport ends any call after 17 seconds, with -504. Name resolution, the building
/// of a request and the parsing of a reply are not cut short.
///
/// **Exceptions.** An operation that delivers a text throws std::logic_error when a reply with more than the status
/// cannot be decoded; getFault() is then 0. Any operation may throw std::bad_alloc. There are no other exceptions. The
/// object stays usable.
///
/// **Process-wide effects.** The timer (ITIMER_REAL), the handlers of SIGALRM and SIGINT and the interrupt flag belong
/// to the process: only one remote operation may run at a time, whatever the number of objects. After the first init(),
/// a SIGINT no longer ends the process; it cuts the current call short, in whatever thread it lands. A call unblocks
/// SIGALRM in the calling thread; SIGINT stays blocked if the application blocks it. A signal that lands inside the
/// library is logged a moment later, by the library.
///
/// After an interruption or a fault the timer keeps running. Its late alarm cuts no later call, but interrupts whatever
/// system call blocks at that moment. A signal that lands between calls is logged from signal context: if it interrupts
/// the application in syslog(), localtime(), mktime() or strftime(), that thread can deadlock. To avoid this, call
/// set_timer(0) after a fault, block SIGINT and SIGALRM around such code, or block SIGINT in all threads and read it
/// with signalfd(). Call set_timer(0) before exec() too. The kernel may deliver an alarm to any thread that does not
/// block SIGALRM; if that thread is starved, the time-out is up to 3 seconds late, so threads that make no calls should
/// block it.
///
/// An object is not safe for concurrent use.
class __attribute__((visibility("default"))) XmlrpcClient : public nelkadb::CDB {
public:
    // Core -----------------------------------------------------------------------------------------------------

    /// Stores the address of a slave; does not touch the network. `interfaz` is stored but never used. The user agent
    /// on the wire begins with `appName`/`appVersion`.
    XmlrpcClient(std::string host, unsigned short port, std::string interfaz, std::string appName,
                 std::string appVersion);

    /// Calls cleanup().
    ~XmlrpcClient() override;

    XmlrpcClient(const XmlrpcClient&) = delete;
    XmlrpcClient& operator=(const XmlrpcClient&) = delete;

    /// Makes the object ready for remote operations. Returns 0 or the xmlrpc-c fault code of the step that failed;
    /// after a failure remote operations end with -500. The fault state is not touched.
    ///
    /// Process-wide: takes over SIGALRM and SIGINT, lowers the interrupt flag, lets xmlrpc-c parse up to 1048576 bytes
    /// of XML. Called again without cleanup() in between, it leaks the former connection: use resetConn().
    int init();

    /// Releases what init() set up. May be called any number of times, in any state. The signal handlers stay.
    void cleanup();

    /// cleanup(), then init(); returns the result of init().
    int resetConn();

    /// Switches to another slave on the same port: changes the address, then returns the result of resetConn().
    int updateHostInterfaz(std::string host, std::string interfaz);

    /// The xmlrpc-c environment of the last call: its fault text says why no usable answer came. Valid until the next
    /// call on this object.
    const xmlrpc_env& environment() const;

    /// Routes SIGINT and SIGALRM to interruptRpc(), process-wide and permanently. Called by init().
    void setupSignalHandlers();

    /// The signal handler. It raises the interrupt flag to cut the current call short, wakes the calling thread and has
    /// the signal logged, now or later. A handler of the application may call it, and so may any thread.
    static void interruptRpc(int signal);

    /// Arms the process's one-shot real-time timer, or disarms it with 0. Once it is disarmed, no alarm is handled,
    /// unless a starved thread had already taken one.
    void set_timer(unsigned short milliseconds);

    /// The connectivity probe: asks the slave for 10 + 5 and writes "RESULTADO " and its answer to standard output,
    /// without a line break or flush. The answer is not checked.
    void sampleadd(int timeout);

    /// The IPv4 address of this machine's "eth0" in dotted decimal; `ip` becomes empty when there is none. Returns 1.
    static int getLocalIp(std::string& ip);

    /// The hardware address of this machine's "eth0" as 00:1A:2B:3C:4D:5E. Returns 1, or 0 with `mac` untouched.
    static int getLocalMac(std::string& mac);

    // Database -------------------------------------------------------------------------------------------------

    /// Runs `query` on the slave's database `dbName` and fills `result` with its rows, even if they come with an error
    /// status. Rows that cannot be filled in leave `result` untouched; only environment() says so.
    void getTable(std::string query, nelkadb::ResultSet& result, int timeout) override;

    /// Runs `query` against `table` of the slave's database `dbName`; `result` is the integer the slave answers.
    void execQuery(std::string query, int& result, std::string table, int timeout) override;

    // Identity -------------------------------------------------------------------------------------------------

    /// The module's seven identification fields. Throws std::logic_error when a reply with more than the
    /// status is not of their shape; the texts are then untouched.
    void actualizaIdentificacion(std::string& campo1, std::string& campo2, std::string& campo3, int& campo4,
                                 std::string& campo5, std::string& campo6, std::string& campo7, int timeout);

    /// The alarms of the slave's controller as text. Throws std::logic_error when a reply with more than the status
    /// cannot be decoded.
    void getAlarmasEstadoControlador(std::string& alarmas, int& status, int timeout);

    /// Whether input `entrada` is synchronised: `status` is the slave's answer, never a fault.
    void checkSincronizado(int entrada, int& status, int timeout);

    /// The change counter of the slave's database `dbName`.
    void xmlrpc_changes(int& changes, int timeout);

    // Administration -------------------------------------------------------------------------------------------

    /// Restores the slave's factory settings. A refusal by the slave is not reported.
    void resetModuleToFactorySettings(int timeout);

    /// The slave's clock, in the slave's unit and epoch. A non-zero `status` is not a fault.
    void getHoraModulo(unsigned short parametro, unsigned long long& hora, int& status, int timeout);

    /// Sets the refresh value of the slave's web page. A non-zero `status` is not a fault.
    void setRefrescoWeb(unsigned short valor, int& status, int timeout);

    /// Makes the slave set its clock by NTP.
    void updateNTP(int timeout);

    /// Runs a script on the slave. Each refusal leaks the memory of one reply.
    void ejecutar_script(std::string nombre_script, int timeout);

    // Tuning ---------------------------------------------------------------------------------------------------

    /// Tunes a terrestrial channel. A frequency above 2147483647 reaches the slave as a negative integer.
    void sintonizarCanalTerr(tcanal canal, int parametro, int& status, bool indicador, int timeout);

    /// Tunes a satellite channel, by its intermediate frequency. A frequency above 2147483647 reaches the slave as a
    /// negative integer.
    void sintonizarCanalSat(tcanal canal, int parametro, int& status, bool indicador, int parametroExtraSat,
                            int timeout);

    // Scanning -------------------------------------------------------------------------------------------------

    /// Starts a scan of an input; a `status` of 0 or more is the scan's identifier, a negative one is an error.
    void initInputScan(int entrada, int tipoScan, int& status, unsigned char bandaScan, int timeout);

    /// The progress of a scan; only a negative `status` is an error.
    void statusInputScan(int entrada, int idScan, int& status, int timeout);

    /// The report of a scan; only a negative `status` is an error. Throws std::logic_error when the reply cannot be
    /// decoded; `report` is then untouched, and the memory of that reply leaks.
    void getScanReport(int entrada, int idScan, std::string& report, int& status, int timeout);

    /// Stops the scan that runs on an input.
    void cancelInputScan(int entrada, int timeout);

    // Hardware -------------------------------------------------------------------------------------------------

    /// The slave's FPGA SOC identifier; a negative one becomes a large unsigned number. Delivered even with an error
    /// status.
    void getFPGASOC(unsigned long& soc, int& status, int timeout);

    /// Changes the slave's FPGA SOC identifier; only its low 32 bits are sent, as a signed integer.
    void changeFPGASOC(unsigned long newSOC, int& status, int timeout);

    /// The JSON text of the slave's web pages. Throws std::logic_error when a reply with more than the status
    /// cannot be decoded.
    void generarJSONWeb(int parametro, std::string& json, int timeout);

    // Files ----------------------------------------------------------------------------------------------------

    /// Asks the slave to delete a file. Always fails with -500 (-510 for a path that is not valid UTF-8) and sends
    /// nothing: xmlrpc-c rejects its argument list.
    void DlFicheroEsclavo(const std::string& ruta_archivo, int& status, int timeout);

    /// Fetches a file from the slave; a `borrar_archivo` of 1 asks it to delete the file before it answers. A deleted
    /// file is lost if its reply is too large (-509), too late or cannot be stored: fetch it with 0, store it, then
    /// delete it with 1. `contenido` becomes empty when the second element of the reply is not a byte block.
    void RdFicheroEsclavo(const std::string& ruta_archivo, int borrar_archivo, std::vector<char>& contenido,
                          int timeout);

    // Tables ---------------------------------------------------------------------------------------------------

    /// Writes a file of SI tables to the slave. By default a slave built with this library takes blocks of up to about
    /// 383,000 bytes, or 766,000 once a client's init() has run in its process; a larger one ends with -504.
    void wrFicheroTablasSI(int tipo_fichero, int parametro, const std::vector<char>& bloque, int timeout);

    /// Configures the slave's SAP server. The limits of `bloque` are those of wrFicheroTablasSI().
    void configureSAPServer(int SAPMode, int parametro, const std::vector<char>& bloque, int timeout);

    /// Reads a file of SI tables from the slave. A block of 65536 bytes or more is cut to its first (size modulo 65536)
    /// bytes. `bloque` becomes empty when the second element of the reply is not a byte block.
    void rdFicheroTablasSI(int source, int id_tabla, int ext1, int ext2, int ext3, std::vector<char>& bloque,
                           int timeout);

    /// Reads a summary file from the slave; `bloque` is cut as in rdFicheroTablasSI().
    void rdFicheroResumen(int source, int id_resumen, std::vector<char>& bloque, int timeout);

private:
    class RemoteCall;

    xmlrpc_env env;
    xmlrpc_client* client;
    std::string serverUrl;
    std::string host;
    unsigned short port;
    std::string interfaz;
    std::string appName;
    std::string appVersion;

public:
    /// The slave's database that getTable(), execQuery() and xmlrpc_changes() name. Empty until assigned.
    std::string dbName;

private:
    bool holdsGlobalConst;
};

} // namespace nelka

#endif
