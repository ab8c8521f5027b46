#include "operations.h"

#include <algorithm>
#include <iostream>
#include <sstream>

#include "dump.h"
#include "fetch.h"
#include "nearest.h"
#include "scan.h"

namespace nelkactl {

namespace {

// sampleadd() writes its answer to std::cout.
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

nelka::tcanal canalOf(const Call& call)
{
    return {call.value(option::frecuencia),    call.value(option::frecuenciaIntermedia),
            call.value(option::parametroSat),  call.value(option::parametroTerr),
            call.value(option::parametroSat2), call.value(option::parametroComun),
            call.value(option::parametroSat3), call.value(option::parametroSat4)};
}

// clang-format off
std::vector<Family> allFamilies()
{
    using namespace argument;
    return {
        {"Core",
         {
             {"sampleadd", {}, {}, "resultado",
              "Checks that the slave answers",
             "The slave adds 10 and 5.",
              [](Call& call) {
                  const CapturedOutput captured;
                  call.client.sampleadd(call.timeout);
                  const std::string text = captured.text();
                  const std::string label = "RESULTADO ";
                  if (text.starts_with(label))
                      call.output("resultado", decimal<int>("RESULTADO", text.substr(label.size())));
              }},
             {"getLocalIp", {}, {}, "ip",
              "The IPv4 address of this machine's eth0",
              "Empty if there is none. Calls no slave.",
              [](Call& call) {
                  std::string ip;
                  nelka::XmlrpcClient::getLocalIp(ip);
                  call.output("ip", ip);
              }},
             {"getLocalMac", {}, {}, "mac",
              "The hardware address of this machine's eth0",
              "Left out if there is none. Calls no slave.",
              [](Call& call) {
                  Text mac;
                  nelka::XmlrpcClient::getLocalMac(mac.value);
                  call.output("mac", mac);
              }},
             {"dump", {}, {option::entrada, option::table, option::file}, "one for each operation",
              "All readable data, as one JSON document",
             "Changes nothing. A part that fails says so, and the rest goes on. Not included:\n"
             "getLocalIp and getLocalMac, which concern this machine, and statusInputScan,\n"
             "getScanReport, rdFicheroTablasSI and rdFicheroResumen, which need the number\n"
             "of a scan or a table.",
              dump},
         }},

        {"Database",
         {
             {"getTable", {query}, {}, "columns, rows",
              "Rows of the slave's database",
              "Writes a line of names, then tab-separated rows. \\t, \\n, \\r and \\\\ escape tab,\n"
             "line break, carriage return and backslash; \\N is a null.",
              [](Call& call) {
                  Table table_;
                  call.client.getTable(call.value(query), table_.value, call.timeout);
                  call.output(table_);
              }},
             {"execQuery", {statement, table}, {}, "resultado",
              "Runs a statement against the slave's database", "",
              [](Call& call) {
                  Number resultado;
                  call.client.execQuery(call.value(statement), resultado.value, call.value(table), call.timeout);
                  call.output("resultado", resultado);
              }, Effect::changes},
         }},

        {"Identity",
         {
             {"actualizaIdentificacion", {}, {}, "campo1 to campo7",
              "The seven fields of the slave's identification", "",
              [](Call& call) {
                  Text campo1, campo2, campo3, campo5, campo6, campo7;
                  int campo4 = 0;
                  call.client.actualizaIdentificacion(campo1.value, campo2.value, campo3.value, campo4, campo5.value,
                                                      campo6.value, campo7.value, call.timeout);
                  if (!campo1.written()) // all are written, or none
                      return;
                  call.output("campo1", campo1);
                  call.output("campo2", campo2);
                  call.output("campo3", campo3);
                  call.output("campo4", campo4);
                  call.output("campo5", campo5);
                  call.output("campo6", campo6);
                  call.output("campo7", campo7);
              }},
             {"getAlarmasEstadoControlador", {}, {}, "status, alarmas",
              "The alarms of the slave's controller", "",
              [](Call& call) {
                  Text alarmas;
                  int status = 0;
                  call.client.getAlarmasEstadoControlador(alarmas.value, status, call.timeout);
                  call.output("status", status);
                  call.output("alarmas", alarmas);
              }},
             {"checkSincronizado", {entrada}, {}, "status",
              "Whether an input is synchronised",
              "The status is the answer, never a failure.",
              [](Call& call) {
                  int status = 0;
                  call.client.checkSincronizado(call.value(entrada), status, call.timeout);
                  call.output("status", status);
              }},
             {"xmlrpc_changes", {}, {}, "changes",
              "The change counter of the slave's database", "",
              [](Call& call) {
                  Number changes;
                  call.client.xmlrpc_changes(changes.value, call.timeout);
                  call.output("changes", changes);
              }},
         }},

        {"Administration",
         {
             {"resetModuleToFactorySettings", {}, {option::yes}, "",
              "Restores the slave's factory settings",
              "A refusal by the slave is not reported.",
              [](Call& call) { call.client.resetModuleToFactorySettings(call.timeout); }, Effect::changes},
             {"getHoraModulo", {parametroHora}, {}, "status, hora",
              "The slave's clock",
              "The slave defines unit and epoch. A status other than 0 is not a failure.",
              [](Call& call) {
                  unsigned long long hora = 0;
                  int status = 0;
                  call.client.getHoraModulo(call.value(parametroHora), hora, status, call.timeout);
                  call.output("status", status);
                  call.output("hora", hora);
              }},
             {"setRefrescoWeb", {valor}, {}, "status",
              "Sets the refresh value of the slave's web page",
             "A status other than 0 is not a failure.",
              [](Call& call) {
                  int status = 0;
                  call.client.setRefrescoWeb(call.value(valor), status, call.timeout);
                  call.output("status", status);
              }, Effect::changes},
             {"updateNTP", {}, {}, "",
              "Makes the slave set its clock by NTP", "",
              [](Call& call) { call.client.updateNTP(call.timeout); }, Effect::changes},
             {"ejecutar_script", {nombre}, {}, "",
              "Runs a script on the slave", "",
              [](Call& call) { call.client.ejecutar_script(call.value(nombre), call.timeout); }, Effect::changes},
         }},

        {"Tuning",
         {
             {"sintonizarCanalTerr", {parametro, indicador},
              {option::frecuencia, option::parametroTerr, option::parametroComun}, "status",
              "Tunes a terrestrial channel", "",
              [](Call& call) {
                  int status = 0;
                  call.client.sintonizarCanalTerr(canalOf(call), call.value(parametro), status, call.value(indicador),
                                                  call.timeout);
                  call.output("status", status);
              }, Effect::changes},
             {"sintonizarCanalSat", {parametro, indicador, extra},
              {option::frecuenciaIntermedia, option::parametroSat, option::parametroSat2, option::parametroComun,
               option::parametroSat3, option::parametroSat4, option::frecuenciaLogged}, "status",
              "Tunes a satellite channel",
              "Uses the intermediate frequency.",
              [](Call& call) {
                  int status = 0;
                  call.client.sintonizarCanalSat(canalOf(call), call.value(parametro), status, call.value(indicador),
                                                 call.value(extra), call.timeout);
                  call.output("status", status);
              }, Effect::changes},
         }},

        {"Scanning",
         {
             {"initInputScan", {entrada, tipoScan, bandaScan}, {}, "status",
              "Starts a scan of an input",
              "A status of 0 or more identifies the scan; a negative status is an error.",
              [](Call& call) {
                  int status = 0;
                  call.client.initInputScan(call.value(entrada), call.value(tipoScan), status, call.value(bandaScan),
                                            call.timeout);
                  call.output("status", status);
              }, Effect::changes},
             {"statusInputScan", {entrada, idScan}, {}, "status",
              "The progress of a scan",
              "Only a negative status is an error.",
              [](Call& call) {
                  int status = 0;
                  call.client.statusInputScan(call.value(entrada), call.value(idScan), status, call.timeout);
                  call.output("status", status);
              }},
             {"getScanReport", {entrada, idScan}, {}, "status, report",
              "The report of a scan",
              "Only a negative status is an error.",
              [](Call& call) {
                  Text report;
                  int status = 0;
                  call.client.getScanReport(call.value(entrada), call.value(idScan), report.value, status,
                                            call.timeout);
                  call.output("status", status);
                  call.output("report", report);
              }},
             {"cancelInputScan", {entrada}, {}, "",
              "Stops the scan that runs on an input", "",
              [](Call& call) { call.client.cancelInputScan(call.value(entrada), call.timeout); }, Effect::changes},
             {"scan", {entrada, tipoScan, bandaScan}, {option::interval, option::until, option::retryPoll},
              "idScan, status (the last poll's), report",
              "Starts a scan, waits for its end and reports",
              "A negative status ends it. A scan that ends early is cancelled on the slave.",
              scan, Effect::changes},
         }},

        {"Hardware",
         {
             {"getFPGASOC", {}, {}, "status, soc",
              "The slave's FPGA SOC identifier", "",
              [](Call& call) {
                  unsigned long identifier = 0;
                  int status = 0;
                  call.client.getFPGASOC(identifier, status, call.timeout);
                  call.output("status", status);
                  call.output("soc", identifier);
              }},
             {"changeFPGASOC", {soc}, {}, "status",
              "Changes the slave's FPGA SOC identifier", "",
              [](Call& call) {
                  int status = 0;
                  call.client.changeFPGASOC(call.value(soc).value, status, call.timeout);
                  call.output("status", status);
              }, Effect::changes},
             {"generarJSONWeb", {n}, {}, "json (a text)",
              "The JSON text of the slave's web pages", "",
              [](Call& call) {
                  Text json;
                  call.client.generarJSONWeb(call.value(n), json.value, call.timeout);
                  call.output("json", json);
              }},
         }},

        {"Files",
         {
             {"DlFicheroEsclavo", {ruta}, {}, "status",
              "Should delete a file, but never can",
              "xmlrpc-c rejects the argument list that the library builds: nothing is sent,\n"
              "and the exit status is always 3. Instead, use\n"
              "  nelkactl RdFicheroEsclavo RUTA 1 --output FILE\n"
              "which fetches the file and has the slave delete it.",
              [](Call& call) {
                  int status = 0;
                  call.client.DlFicheroEsclavo(call.value(ruta), status, call.timeout);
                  call.output("status", status);
              }, Effect::changes},
             {"RdFicheroEsclavo", {ruta, borrar}, {option::output}, "bytes (how many came), kept (a second file)",
              "Fetches a file from the slave",
              "If BORRAR is not 0, a second call has the slave delete the file, once it is\n"
             "stored here. That call returns the file again; if it differs, it is kept too.",
              fetch, Effect::deletesIfAsked},
         }},

        {"Tables",
         {
             {"wrFicheroTablasSI", {tipo, n}, {option::input}, "",
              "Writes a file of SI tables to the slave", "",
              [](Call& call) {
                  call.client.wrFicheroTablasSI(call.value(tipo), call.value(n), call.input, call.timeout);
              }, Effect::changes},
             {"configureSAPServer", {modo, n}, {option::input}, "",
              "Configures the slave's SAP server", "",
              [](Call& call) {
                  call.client.configureSAPServer(call.value(modo), call.value(n), call.input, call.timeout);
              }, Effect::changes},
             {"rdFicheroTablasSI", {source, idTabla, ext1, ext2, ext3}, {option::output}, "bytes (how many came)",
              "Reads a file of SI tables from the slave",
             "A block of 65536 bytes or more is cut to its first (size modulo 65536) bytes.",
              [](Call& call) {
                  Block bloque;
                  call.client.rdFicheroTablasSI(call.value(source), call.value(idTabla), call.value(ext1),
                                                call.value(ext2), call.value(ext3), bloque.value, call.timeout);
                  call.output(bloque);
              }},
             {"rdFicheroResumen", {source, idResumen}, {option::output}, "bytes (how many came)",
              "Reads a summary from the slave",
             "A block of 65536 bytes or more is cut to its first (size modulo 65536) bytes.",
              [](Call& call) {
                  Block bloque;
                  call.client.rdFicheroResumen(call.value(source), call.value(idResumen), bloque.value, call.timeout);
                  call.output(bloque);
              }},
         }},
    };
}
// clang-format on

bool has(const std::vector<Parameter>& parameters, const std::string& name)
{
    return std::any_of(parameters.begin(), parameters.end(), [&](const Parameter& one) { return one.name == name; });
}

} // namespace

const std::vector<Family>& families()
{
    static const std::vector<Family> all = allFamilies();
    return all;
}

std::vector<const Operation*> operations()
{
    std::vector<const Operation*> all;
    for (const Family& family : families())
        for (const Operation& operation : family.operations)
            all.push_back(&operation);
    return all;
}

const Operation& operationNamed(const std::string& name)
{
    if (name.empty())
        throw UsageError("no operation");
    std::vector<std::string> names;
    for (const Operation* operation : operations()) {
        if (operation->name == name)
            return *operation;
        names.push_back(operation->name);
    }
    const std::string meant = nearest(name, names);
    throw UsageError("unknown operation '" + name + "'" + (meant.empty() ? "" : "; did you mean " + meant + "?"));
}

Ending carryOut(const Operation& operation, Call& call)
{
    try {
        operation.run(call);
        return call.ending();
    } catch (const std::logic_error& error) {
        // The reply lacks a text; the environment says why the decoding failed.
        const Ending ending = call.ending();
        return ending.kind == Kind::done ? Ending{Kind::faulted, 0, error.what()} : ending;
    }
}

bool changesSlave(const Operation& operation, const Given& given)
{
    return operation.effect == Effect::changes
           || (operation.effect == Effect::deletesIfAsked && argument::borrar.in(given) != 0);
}

Given givenTo(const Operation& operation, const Options& options)
{
    Given given = options.given;
    for (const auto& [name, text] : given)
        if (!has(operation.options, name) && !has(option::ofEveryOperation, name))
            throw UsageError(name + " is not an option of " + operation.name);
    for (const Parameter& option : operation.options)
        if (option.repeats) {
            for (const std::string& text : textsIn(given[option.name]))
                option.check(option.name, text);
        } else if (!given.contains(option.name)) {
            if (option.whenAbsent.empty())
                throw UsageError(operation.name + " requires " + option.name);
            given[option.name] = option.whenAbsent;
        } else if (!option.isFlag()) {
            option.check(option.name, given[option.name]);
        }

    const std::size_t wanted = operation.arguments.size();
    if (options.arguments.size() != wanted) {
        std::string names;
        for (const Parameter& argument : operation.arguments)
            names += " " + argument.name;
        throw UsageError(operation.name + " takes " + (wanted == 0 ? "no argument" : names.substr(1)) + ", not "
                         + std::to_string(options.arguments.size()) + " arguments");
    }
    for (std::size_t i = 0; i < wanted; ++i) {
        const Parameter& argument = operation.arguments[i];
        argument.check(argument.name, options.arguments[i]);
        given[argument.name] = options.arguments[i];
    }
    return given;
}

} // namespace nelkactl
