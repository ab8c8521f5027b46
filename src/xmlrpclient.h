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
/// Construct, assign `dbName` if the slave's database is asked, init(), then call remote operations; each is one
/// XML-RPC call. To go to another address use updateHostInterfaz(), to renew the connection resetConn().
///
/// **Outcome.** Remote operations return nothing. After each, getFault() is
/// - 0: the call succeeded and the slave reported no error, or one that the operation does not check;
/// - -505: the operation's time-out passed, or a SIGINT arrived, which the application's own handler can tell apart;
/// - an xmlrpc-c fault code (-500 to -510) or the code of the slave's fault response, which may be any number, 0 too:
///   nothing usable came back;
/// - any other value: the status with which the slave refused, which may be any number too.
///
/// environment() holds a fault, with the reason, in the second and third case, and none after a refusal, except what
/// getTable() met when it filled its result.
///
/// **Outputs.** An output is written only once a reply has been decoded that far: after a time-out, an interruption
/// or a transport fault every output holds what the caller put there. Where the slave reports an error status
/// along with a payload, the payload is delivered all the same. A byte block becomes empty where an array of
/// other than one element cannot be decoded.
///
/// **Texts.** CR and CRLF become LF, both ways. A text that is not valid UTF-8 or has a character beyond U+FFFD ends
/// the call with -510, in a reply as in an argument; control characters in an argument come back as the slave's -503.
///
/// **Time-outs.** The last parameter of each remote operation is its time-out in milliseconds, cut to its low 16
/// bits: 1 to 65535; 0 arms no timer. The transport has a limit too, of 17 seconds, which ends a longer call with -504.
/// Name resolution and the parsing of a reply are not cut short.
///
/// **Exceptions.** std::logic_error from an operation that delivers a text, when a reply with more than the status
/// cannot be decoded, whatever is wrong with it; getFault() is 0 then. std::bad_alloc. Nothing else is thrown. Either
/// way the object stays usable.
///
/// **Process-wide effects.** The timer (ITIMER_REAL), the handlers of SIGALRM and SIGINT and the interrupt flag
/// belong to the process: one remote operation at a time in the whole process, whatever the number of objects. From
/// the first init() on, a SIGINT no longer ends the process; it cuts the current call short, whichever thread it lands
/// in. During a call SIGALRM is let through in the calling thread; SIGINT stays blocked where the application blocks
/// it. A signal that lands while the library is at work gets its log line a moment later, from the library.
///
/// After an interruption or a fault the timer is left running. Its late alarm cuts no later call, but interrupts
/// whatever blocks at that moment, and a signal that lands between calls is logged from signal context: where it
/// lands in a syslog(), localtime(), mktime() or strftime() of the application it can hang that thread for ever.
/// Remedies: set_timer(0) after a fault, and before exec(); SIGINT and SIGALRM blocked around such code; SIGINT
/// blocked in all threads and read with signalfd(). The kernel may give an alarm to any thread that does not block
/// SIGALRM; where that one gets no processor the time-out is up to 3 seconds late, so threads that make no calls
/// should block it.
///
/// An object is not safe for concurrent use.
class __attribute__((visibility("default"))) XmlrpcClient : public nelkadb::CDB {
public:
    // Core -----------------------------------------------------------------------------------------------------

    /// Keeps the address of a slave; touches no network. `interfaz` is kept and read by nothing.
    /// The user agent on the wire begins with `appName`/`appVersion`.
    XmlrpcClient(std::string host, unsigned short port, std::string interfaz, std::string appName,
                 std::string appVersion);

    /// cleanup().
    ~XmlrpcClient() override;

    XmlrpcClient(const XmlrpcClient&) = delete;
    XmlrpcClient& operator=(const XmlrpcClient&) = delete;

    /// Makes the object ready for remote operations. Returns 0 or the xmlrpc-c fault code of the step that failed;
    /// after a failure remote operations end with -500. The fault state is not touched.
    ///
    /// Process-wide: takes over SIGALRM and SIGINT, lowers the interrupt flag, lets xmlrpc-c parse up to 1048576
    /// bytes of XML. Called again without cleanup() in between it abandons the former connection, which is lost
    /// until the process ends: use resetConn().
    int init();

    /// Releases what init() set up. May be called any number of times, in any state. The signal handlers stay.
    void cleanup();

    /// cleanup(), then init(); returns the result of init().
    int resetConn();

    /// Goes to another slave: changes the address, then resetConn(), whose result it returns. The port stays.
    int updateHostInterfaz(std::string host, std::string interfaz);

    /// The xmlrpc-c environment of the last call: its fault text says why no usable answer came. Valid until the next
    /// call on this object.
    const xmlrpc_env& environment() const;

    /// Routes SIGINT and SIGALRM to interruptRpc(), for the whole process and for good. Called by init().
    void setupSignalHandlers();

    /// The signal handler: raises the interrupt flag, which cuts the current call short, wakes the thread that makes
    /// it, and sees to it that the signal is logged, here or by the library afterwards. May be called by a handler
    /// of the application, or from any thread.
    static void interruptRpc(int signal);

    /// Arms the process's one-shot real-time timer, or disarms it with 0. Once it has been disarmed no alarm of it is
    /// still to come, unless a thread that took one gets no processor.
    void set_timer(unsigned short milliseconds);

    /// The connectivity probe: asks the slave for 10 + 5 and writes "RESULTADO " and its answer to standard output,
    /// with no line break and no flush. The answer is not checked.
    void sampleadd(int timeout);

    /// The IPv4 address of this machine's "eth0" in dotted decimal; `ip` becomes empty when there is none. Returns 1.
    static int getLocalIp(std::string& ip);

    /// The hardware address of this machine's "eth0" as 00:1A:2B:3C:4D:5E. Returns 1, or 0 with `mac` untouched.
    static int getLocalMac(std::string& mac);

    // Database -------------------------------------------------------------------------------------------------

    /// Runs `query` on the slave's database `dbName` and fills `result` with its rows. `result` is filled even when
    /// the slave reports an error status beside the rows. A fault that the filling itself meets leaves `result` as
    /// it was and shows in environment() only.
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

    /// Whether input `entrada` is synchronised: the slave's answer goes to `status` and is never a fault.
    void checkSincronizado(int entrada, int& status, int timeout);

    /// The change counter of the slave's database `dbName`.
    void xmlrpc_changes(int& changes, int timeout);

    // Administration -------------------------------------------------------------------------------------------

    /// Restores the slave's factory settings. A refusal by the slave is not reported.
    void resetModuleToFactorySettings(int timeout);

    /// The slave's clock, unit and epoch its own. A non-zero `status` is not a fault.
    void getHoraModulo(unsigned short parametro, unsigned long long& hora, int& status, int timeout);

    /// Sets the refresh value of the slave's web page. A non-zero `status` is not a fault.
    void setRefrescoWeb(unsigned short valor, int& status, int timeout);

    /// Makes the slave set its clock by NTP.
    void updateNTP(int timeout);

    /// Runs a script on the slave. Each refusal by the slave costs the memory of one reply, which is not released.
    void ejecutar_script(std::string nombre_script, int timeout);

    // Tuning ---------------------------------------------------------------------------------------------------

    /// Tunes a terrestrial channel. A frequency above 2147483647 reaches the slave as a negative integer.
    void sintonizarCanalTerr(tcanal canal, int parametro, int& status, bool indicador, int timeout);

    /// Tunes a satellite channel, by its intermediate frequency. A frequency above 2147483647 reaches the slave as a
    /// negative integer.
    void sintonizarCanalSat(tcanal canal, int parametro, int& status, bool indicador, int parametroExtraSat,
                            int timeout);

    // Scanning -------------------------------------------------------------------------------------------------

    /// Starts a scan of an input; a `status` of 0 or more is its identifier, a negative one is an error.
    void initInputScan(int entrada, int tipoScan, int& status, unsigned char bandaScan, int timeout);

    /// How a scan stands; only a negative `status` is an error.
    void statusInputScan(int entrada, int idScan, int& status, int timeout);

    /// The report of a scan; only a negative `status` is an error. Throws std::logic_error when the reply
    /// cannot be decoded; `report` is then untouched, and the memory of that reply is not released.
    void getScanReport(int entrada, int idScan, std::string& report, int& status, int timeout);

    /// Stops the scan that runs on an input.
    void cancelInputScan(int entrada, int timeout);

    // Hardware -------------------------------------------------------------------------------------------------

    /// The slave's FPGA SOC identifier; a negative one becomes a large unsigned number. Delivered along with an
    /// error status.
    void getFPGASOC(unsigned long& soc, int& status, int timeout);

    /// Changes the slave's FPGA SOC identifier; its low 32 bits travel, as a signed integer.
    void changeFPGASOC(unsigned long newSOC, int& status, int timeout);

    /// The JSON text of the slave's web pages. Throws std::logic_error when a reply with more than the status
    /// cannot be decoded.
    void generarJSONWeb(int parametro, std::string& json, int timeout);

    // Files ----------------------------------------------------------------------------------------------------

    /// Asks the slave to delete a file. Always ends with -500 (-510 for a path that is not valid UTF-8), before
    /// anything is sent: its argument list is one that xmlrpc-c does not take.
    void DlFicheroEsclavo(const std::string& ruta_archivo, int& status, int timeout);

    /// Fetches a file from the slave, which deletes it if `borrar_archivo` says so to it. A file that is deleted is
    /// lost when its reply then is too large (-509) or too late, or cannot be kept here: fetch it with 0, keep it safe,
    /// then delete it with 1. `contenido` becomes empty when the second element of the reply is no byte block.
    void RdFicheroEsclavo(const std::string& ruta_archivo, int borrar_archivo, std::vector<char>& contenido,
                          int timeout);

    // Tables ---------------------------------------------------------------------------------------------------

    /// Writes a file of SI tables to the slave. A slave of this library takes blocks of up to about 383,000 bytes, up
    /// to 766,000 once a client's init() has run in its process; a larger one ends with -504.
    void wrFicheroTablasSI(int tipo_fichero, int parametro, const std::vector<char>& bloque, int timeout);

    /// Configures the slave's SAP server. The size of `bloque` as in wrFicheroTablasSI().
    void configureSAPServer(int SAPMode, int parametro, const std::vector<char>& bloque, int timeout);

    /// Reads a file of SI tables from the slave. Of a block of 65536 bytes or more only the first (size modulo
    /// 65536) arrive. `bloque` becomes empty when the second element of the reply is no byte block.
    void rdFicheroTablasSI(int source, int id_tabla, int ext1, int ext2, int ext3, std::vector<char>& bloque,
                           int timeout);

    /// Reads a summary file from the slave; the size of `bloque` as in rdFicheroTablasSI().
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
