#include "operations.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <sstream>
#include <tuple>
#include <type_traits>
#include <utility>

#include "number.h"
#include "scan.h"

namespace nelkactl {

namespace {

using Named = std::pair<const char*, const char*>; // an argument and its meaning

// Takes the words of a command line one by one.
struct Words {
    const Options& options;
    const std::vector<Parameter>& arguments;
    std::size_t next = 0;

    template <typename Value>
    Value take()
    {
        if constexpr (Argument<Value>) {
            const std::size_t index = next++;
            return readArgument<Value>(arguments[index].name, options.arguments[index]);
        } else {
            return FromOptions<Value>::read(options);
        }
    }
};

template <typename Value>
void describe(Operation& operation, std::vector<Named>::const_iterator& named)
{
    if constexpr (Argument<Value>) {
        operation.arguments.push_back({named->first, rangeOfArgument<Value>(), named->second});
        ++named;
    } else {
        for (Parameter& option : FromOptions<Value>::describe())
            operation.options.push_back(std::move(option));
    }
}

template <typename Run, typename... Values>
Operation::Action bound(const Run& run, [[maybe_unused]] Words words, std::function<void(Call&, Values...)>)
{
    std::tuple<std::remove_cvref_t<Values>...> values{
        words.take<std::remove_cvref_t<Values>>()...}; // in braces, hence in order
    return [run, values](Call& call) { std::apply([&](const auto&... value) { run(call, value...); }, values); };
}

template <typename... Values>
void describeAll(Operation& operation, const std::vector<Named>& named, std::function<void(Call&, Values...)>)
{
    [[maybe_unused]] auto next = named.begin();
    (describe<std::remove_cvref_t<Values>>(operation, next), ...);
}

// `run` is a function of a Call and of what the operation takes.
template <typename Run>
Operation operation(const char* name, const std::vector<Named>& named, const char* outputs, const char* help, Run run)
{
    Operation made{name, {}, {}, outputs, help, {}};
    describeAll(made, named, std::function{run});
    made.bind = [run, arguments = made.arguments](const Options& options) {
        return bound(run, Words{options, arguments}, std::function{run});
    };
    return made;
}

// What the operations do -------------------------------------------------------------------------------------------

// The probe writes its answer to std::cout.
class CapturedOutput {
public:
    CapturedOutput() : former(std::cout.rdbuf(captured.rdbuf())) {}
    ~CapturedOutput() { std::cout.rdbuf(former); }
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    std::string text() const { return captured.str(); }

private:
    std::ostringstream captured;
    std::streambuf* former;
};

std::vector<Operation> everyOperation()
{
    return {
        // Core -----------------------------------------------------------------------------------------------------

        operation("sampleadd", {}, "resultado", "Asks whether the slave is there: it adds 10 and 5.",
                  [](Call& call) {
                      const CapturedOutput captured;
                      call.client.sampleadd(call.timeout);
                      const std::string text = captured.text();
                      const std::string label = "RESULTADO ";
                      if (text.starts_with(label))
                          call.output("resultado", decimal<int>("RESULTADO", text.substr(label.size())));
                  }),
        operation("getLocalIp", {}, "ip",
                  "The IPv4 address of this machine's eth0, empty if it has none. Calls no slave.",
                  [](Call& call) {
                      std::string ip;
                      nelka::XmlrpcClient::getLocalIp(ip);
                      call.output("ip", ip);
                  }),
        operation("getLocalMac", {}, "mac", "The hardware address of this machine's eth0. Calls no slave.",
                  [](Call& call) {
                      Text mac;
                      nelka::XmlrpcClient::getLocalMac(mac.value);
                      call.output("mac", mac);
                  }),

        // Database -------------------------------------------------------------------------------------------------

        operation("getTable", {{"QUERY", "the query"}}, "columns, rows",
                  "Rows of the slave's database: tab-separated lines below a line of names, where\n"
                  "\\t, \\n, \\r and \\\\ stand for what would end a cell, and \\N for a null.",
                  [](Call& call, const std::string& query) {
                      Table table;
                      call.client.getTable(query, table.value, call.timeout);
                      call.output(table);
                  }),
        operation("execQuery", {{"QUERY", "the statement"}, {"TABLE", "the table it is about"}}, "resultado",
                  "Runs a statement against the slave's database.",
                  [](Call& call, const std::string& query, const std::string& table) {
                      Number resultado;
                      call.client.execQuery(query, resultado.value, table, call.timeout);
                      call.output("resultado", resultado);
                  }),

        // Identity -------------------------------------------------------------------------------------------------

        operation("actualizaIdentificacion", {}, "campo1 to campo7", "The seven fields of the slave's identification.",
                  [](Call& call) {
                      Text campo1, campo2, campo3, campo5, campo6, campo7;
                      int campo4 = 0;
                      call.client.actualizaIdentificacion(campo1.value, campo2.value, campo3.value, campo4,
                                                          campo5.value, campo6.value, campo7.value, call.timeout);
                      if (!campo1.written()) // all of them come, or none
                          return;
                      call.output("campo1", campo1);
                      call.output("campo2", campo2);
                      call.output("campo3", campo3);
                      call.output("campo4", campo4);
                      call.output("campo5", campo5);
                      call.output("campo6", campo6);
                      call.output("campo7", campo7);
                  }),
        operation("getAlarmasEstadoControlador", {}, "status, alarmas", "The alarms of the slave's controller.",
                  [](Call& call) {
                      Text alarmas;
                      int status = 0;
                      call.client.getAlarmasEstadoControlador(alarmas.value, status, call.timeout);
                      call.output("status", status);
                      call.output("alarmas", alarmas);
                  }),
        operation("checkSincronizado", {{"ENTRADA", "the input"}}, "status",
                  "Whether an input is synchronised: the status is the answer, and never a failure.",
                  [](Call& call, int entrada) {
                      int status = 0;
                      call.client.checkSincronizado(entrada, status, call.timeout);
                      call.output("status", status);
                  }),
        operation("xmlrpc_changes", {}, "changes", "The change counter of the slave's database.",
                  [](Call& call) {
                      Number changes;
                      call.client.xmlrpc_changes(changes.value, call.timeout);
                      call.output("changes", changes);
                  }),

        // Administration -------------------------------------------------------------------------------------------

        operation("resetModuleToFactorySettings", {}, "",
                  "Restores the slave's factory settings. A refusal by the slave is not told.",
                  [](Call& call, Confirmation) { call.client.resetModuleToFactorySettings(call.timeout); }),
        operation("getHoraModulo", {{"N", "passed on"}}, "status, hora",
                  "The slave's clock, unit and epoch its own. A status but 0 is no failure.",
                  [](Call& call, unsigned short n) {
                      unsigned long long hora = 0;
                      int status = 0;
                      call.client.getHoraModulo(n, hora, status, call.timeout);
                      call.output("status", status);
                      call.output("hora", hora);
                  }),
        operation("setRefrescoWeb", {{"VALOR", "the refresh value"}}, "status",
                  "Sets the refresh value of the slave's web page. A status but 0 is no failure.",
                  [](Call& call, unsigned short valor) {
                      int status = 0;
                      call.client.setRefrescoWeb(valor, status, call.timeout);
                      call.output("status", status);
                  }),
        operation("updateNTP", {}, "", "Makes the slave set its clock by NTP.",
                  [](Call& call) { call.client.updateNTP(call.timeout); }),
        operation("ejecutar_script", {{"NOMBRE", "the script"}}, "", "Runs a script of the slave's.",
                  [](Call& call, const std::string& nombre) { call.client.ejecutar_script(nombre, call.timeout); }),

        // Tuning ---------------------------------------------------------------------------------------------------

        operation("sintonizarCanalTerr", {{"PARAMETRO", "passed on; nelkaslave's input"}, {"INDICADOR", "passed on"}},
                  "status", "Tunes a terrestrial channel.",
                  [](Call& call, int parametro, bool indicador, nelka::tcanal canal) {
                      int status = 0;
                      call.client.sintonizarCanalTerr(canal, parametro, status, indicador, call.timeout);
                      call.output("status", status);
                  }),
        operation("sintonizarCanalSat",
                  {{"PARAMETRO", "passed on; nelkaslave's input"}, {"INDICADOR", "passed on"}, {"EXTRA", "passed on"}},
                  "status", "Tunes a satellite channel, by its intermediate frequency.",
                  [](Call& call, int parametro, bool indicador, int extra, nelka::tcanal canal) {
                      int status = 0;
                      call.client.sintonizarCanalSat(canal, parametro, status, indicador, extra, call.timeout);
                      call.output("status", status);
                  }),

        // Scanning -------------------------------------------------------------------------------------------------

        operation("initInputScan",
                  {{"ENTRADA", "the input"}, {"TIPOSCAN", "the kind of scan"}, {"BANDASCAN", "the band"}}, "status",
                  "Starts a scan. A status of 0 or more is its identifier, a negative one an error.",
                  [](Call& call, int entrada, int tipoScan, unsigned char bandaScan) {
                      int status = 0;
                      call.client.initInputScan(entrada, tipoScan, status, bandaScan, call.timeout);
                      call.output("status", status);
                  }),
        operation("statusInputScan", {{"ENTRADA", "the input"}, {"IDSCAN", "the scan"}}, "status",
                  "How a scan stands. Only a negative status is an error.",
                  [](Call& call, int entrada, int idScan) {
                      int status = 0;
                      call.client.statusInputScan(entrada, idScan, status, call.timeout);
                      call.output("status", status);
                  }),
        operation("getScanReport", {{"ENTRADA", "the input"}, {"IDSCAN", "the scan"}}, "status, report",
                  "The report of a scan. Only a negative status is an error.",
                  [](Call& call, int entrada, int idScan) {
                      Text report;
                      int status = 0;
                      call.client.getScanReport(entrada, idScan, report.value, status, call.timeout);
                      call.output("status", status);
                      call.output("report", report);
                  }),
        operation("cancelInputScan", {{"ENTRADA", "the input"}}, "", "Stops the scan that runs on an input.",
                  [](Call& call, int entrada) { call.client.cancelInputScan(entrada, call.timeout); }),
        operation("scan", {{"ENTRADA", "the input"}, {"TIPOSCAN", "the kind of scan"}, {"BANDASCAN", "the band"}},
                  "idScan, status (the last poll's), report",
                  "Starts a scan, waits until it is done and fetches its report. A negative status ends it;\n"
                  "SIGINT cancels it on the slave.",
                  [](Call& call, int entrada, int tipoScan, unsigned char bandaScan, const Watch& watch) {
                      scan(call, entrada, tipoScan, bandaScan, watch);
                  }),

        // Hardware -------------------------------------------------------------------------------------------------

        operation("getFPGASOC", {}, "status, soc", "The slave's FPGA SOC identifier.",
                  [](Call& call) {
                      unsigned long soc = 0;
                      int status = 0;
                      call.client.getFPGASOC(soc, status, call.timeout);
                      call.output("status", status);
                      call.output("soc", soc);
                  }),
        operation("changeFPGASOC", {{"SOC", "the new identifier"}}, "status",
                  "Changes the slave's FPGA SOC identifier.",
                  [](Call& call, std::uint32_t soc) {
                      int status = 0;
                      call.client.changeFPGASOC(soc, status, call.timeout);
                      call.output("status", status);
                  }),
        operation("generarJSONWeb", {{"N", "passed on"}}, "json (a text)", "The JSON text of the slave's web pages.",
                  [](Call& call, int n) {
                      Text json;
                      call.client.generarJSONWeb(n, json.value, call.timeout);
                      call.output("json", json);
                  }),

        // Files ----------------------------------------------------------------------------------------------------

        operation("DlFicheroEsclavo", {{"RUTA", "the file's path on the slave"}}, "status",
                  "Should delete a file of the slave's, but always ends with 3: the library passes the path in a\n"
                  "form that xmlrpc-c takes for no argument list, and nothing is sent. Use instead\n"
                  "  nelkactl RdFicheroEsclavo RUTA 1 --output FILE\n"
                  "which fetches the file and has the slave delete it.",
                  [](Call& call, const std::string& ruta) {
                      int status = 0;
                      call.client.DlFicheroEsclavo(ruta, status, call.timeout);
                      call.output("status", status);
                  }),
        operation("RdFicheroEsclavo", {{"RUTA", "the file's path on the slave"}, {"BORRAR", "1: the slave deletes it"}},
                  "bytes (how many came)", "Fetches a file from the slave.",
                  [](Call& call, const std::string& ruta, int borrar, const OutputFile& file) {
                      Block contenido;
                      call.client.RdFicheroEsclavo(ruta, borrar, contenido.value, call.timeout);
                      call.output(file, contenido);
                  }),

        // Tables ---------------------------------------------------------------------------------------------------

        operation("wrFicheroTablasSI", {{"TIPO", "the kind of file"}, {"N", "passed on"}}, "",
                  "Writes a file of SI tables to the slave.",
                  [](Call& call, int tipo, int n, const Input& bloque) {
                      call.client.wrFicheroTablasSI(tipo, n, bloque.bytes, call.timeout);
                  }),
        operation("configureSAPServer", {{"MODO", "the mode"}, {"N", "passed on"}}, "",
                  "Configures the slave's SAP server.",
                  [](Call& call, int modo, int n, const Input& bloque) {
                      call.client.configureSAPServer(modo, n, bloque.bytes, call.timeout);
                  }),
        operation("rdFicheroTablasSI",
                  {{"SOURCE", "passed on"},
                   {"IDTABLA", "passed on"},
                   {"EXT1", "passed on"},
                   {"EXT2", "passed on"},
                   {"EXT3", "passed on"}},
                  "bytes (how many came)",
                  "Reads a file of SI tables from the slave. Of 65536 bytes or more only the first\n(size modulo "
                  "65536) arrive.",
                  [](Call& call, int source, int idTabla, int ext1, int ext2, int ext3, const OutputFile& file) {
                      Block bloque;
                      call.client.rdFicheroTablasSI(source, idTabla, ext1, ext2, ext3, bloque.value, call.timeout);
                      call.output(file, bloque);
                  }),
        operation("rdFicheroResumen", {{"SOURCE", "passed on"}, {"IDRESUMEN", "the summary"}}, "bytes (how many came)",
                  "Reads a summary from the slave. Of 65536 bytes or more only the first (size\nmodulo 65536) arrive.",
                  [](Call& call, int source, int idResumen, const OutputFile& file) {
                      Block bloque;
                      call.client.rdFicheroResumen(source, idResumen, bloque.value, call.timeout);
                      call.output(file, bloque);
                  }),
    };
}

} // namespace

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> all = everyOperation();
    return all;
}

const Operation& operationNamed(const std::string& name)
{
    if (name.empty())
        throw UsageError("no operation");
    const auto found =
        std::find_if(operations().begin(), operations().end(), [&](const Operation& one) { return one.name == name; });
    if (found == operations().end())
        throw UsageError("no operation '" + name + "'");
    return *found;
}

Operation::Action actionOf(const Operation& operation, const Options& options)
{
    for (const auto& given : options.particular)
        if (std::none_of(operation.options.begin(), operation.options.end(),
                         [&given](const Parameter& own) { return own.name == given.first; }))
            throw UsageError(given.first + " is no option of " + operation.name);
    const std::size_t wanted = operation.arguments.size();
    if (options.arguments.size() != wanted) {
        std::string names;
        for (const Parameter& argument : operation.arguments)
            names += " " + argument.name;
        throw UsageError(operation.name + " takes " + (wanted == 0 ? "no argument" : names.substr(1)) + ", not "
                         + std::to_string(options.arguments.size()) + " arguments");
    }
    return operation.bind(options);
}

} // namespace nelkactl
