#include "operations.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "xml.h"

namespace support {

namespace {

using Client = nelka::XmlrpcClient;

constexpr int sampleInteger = 17;
constexpr std::int64_t sampleClock = 1'700'000'000'123;
constexpr std::string_view sampleBlock = "bloque";

std::vector<char> block()
{
    return {sampleBlock.begin(), sampleBlock.end()};
}

nelka::tcanal canal()
{
    nelka::tcanal canal;
    canal.frecuencia = 4'294'967'295;
    canal.frecuenciaIntermedia = 1'500'000;
    canal.parametroSat = -2;
    canal.parametroTerr = 3;
    canal.parametroSat2 = 65'535;
    canal.parametroComun = 5;
    canal.parametroSat3 = 6;
    canal.parametroSat4 = 7;
    return canal;
}

std::string sampleText(std::size_t index)
{
    return "texto " + std::to_string(index + 1);
}

std::string asText(const nelkadb::ResultSet& table)
{
    std::string text;
    for (std::size_t column = 0; column < table.columnCount(); ++column)
        text += table.columnName(column) + "|";
    for (std::size_t row = 0; row < table.rowCount(); ++row) {
        text += "\n";
        for (std::size_t column = 0; column < table.columnCount(); ++column)
            text += (table.isNull(row, column) ? "(null)" : table.value(row, column)) + "|";
    }
    return text;
}

void fill(nelkadb::ResultSet& table, const char* name, const char* value)
{
    xmlrpc_env env;
    xmlrpc_env_init(&env);
    xmlrpc_value* rows = xmlrpc_build_value(&env, "((s)(s))", name, value);
    if (!env.fault_occurred)
        table.fill(env, rows);
    const bool failed = env.fault_occurred != 0;
    if (rows)
        xmlrpc_DECREF(rows);
    xmlrpc_env_clean(&env);
    if (failed)
        throw std::runtime_error("the table was not filled");
}

} // namespace

Variables::Variables()
{
    fill(table, "preset", "preset");
}

// clang-format off
const std::vector<Operation>& operations()
{
    using enum StatusRule;
    using enum Kept;
    static const Output status{"status", Kind::status};

    // Each record:
    //   family, operation, remote name,
    //   arguments, short reply, reply, place of the status, refusal, kept,
    //   outputs,
    //   debug line,
    //   parameters on the wire,
    //   call
    static const std::vector<Operation> all{
        {"core", "sampleadd", "sample.add",
         "(ii)", "", "(i*)", 0, none, never,
         {},
         "sampleadd : host : 127.0.0.1",
         {"i4 10", "i4 5"},
         [](Client& client, Variables&, int timeout) { client.sampleadd(timeout); }},

        {"database", "getTable", "GetTable",
         "(ss)", "(i*)", "(iA*)", 0, nonzero, never,
         {{"result", Kind::table}},
         "getTable host : 127.0.0.1, dbName : modulo, query : select * from canales",
         {"string modulo", "string select * from canales"},
         [](Client& client, Variables& to, int timeout) {
             client.dbName = "modulo";
             client.getTable("select * from canales", to.table, timeout);
         }},
        {"database", "execQuery", "ExecQuery",
         "(sss)", "(i*)", "(ii*)", 0, nonzero, never,
         {{"result", Kind::integer}},
         "execQuery : host : 127.0.0.1, dbName : modulo, DBtable : canales, query : delete from canales",
         {"string modulo", "string canales", "string delete from canales"},
         [](Client& client, Variables& to, int timeout) {
             client.dbName = "modulo";
             client.execQuery("delete from canales", to.integer, "canales", timeout);
         }},

        {"identity", "actualizaIdentificacion", "ActualizaIdentificacion",
         "(i)", "(i*)", "(isssisss*)", 0, nonzero, never,
         {{"campo1", Kind::text}, {"campo2", Kind::text}, {"campo3", Kind::text}, {"campo4", Kind::integer},
          {"campo5", Kind::text}, {"campo6", Kind::text}, {"campo7", Kind::text}},
         "actualizaIdentificacion : host : 127.0.0.1",
         {"i4 0"},
         [](Client& client, Variables& to, int timeout) {
             client.actualizaIdentificacion(to.texts[0], to.texts[1], to.texts[2], to.integer,
                                            to.texts[3], to.texts[4], to.texts[5], timeout);
         }},
        {"identity", "getAlarmasEstadoControlador", "GetAlarmasEstadoControlador",
         "(i)", "(i*)", "(is*)", 0, nonzero, never,
         {{"alarmas", Kind::text}, status},
         "getAlarmasEstadoControlador : host : 127.0.0.1",
         {"i4 0"},
         [](Client& client, Variables& to, int timeout) {
             client.getAlarmasEstadoControlador(to.texts[0], to.status, timeout);
         }},
        {"identity", "checkSincronizado", "CheckSincronizado",
         "(i)", "", "(i*)", 0, none, never,
         {status},
         "checkSincronizado : entrada: 3",
         {"i4 3"},
         [](Client& client, Variables& to, int timeout) { client.checkSincronizado(3, to.status, timeout); }},
        {"identity", "xmlrpc_changes", "Changes",
         "(s)", "(i*)", "(ii*)", 0, nonzero, never,
         {{"changes", Kind::integer}},
         "changes :host : 127.0.0.1, dbName : modulo",
         {"string modulo"},
         [](Client& client, Variables& to, int timeout) {
             client.dbName = "modulo";
             client.xmlrpc_changes(to.integer, timeout);
         }},

        {"administration", "resetModuleToFactorySettings", "ResetFactoryEsclavo",
         "()", "", "(i*)", 0, none, never,
         {},
         "resetModuleToFactorySettings : host : 127.0.0.1",
         {},
         [](Client& client, Variables&, int timeout) { client.resetModuleToFactorySettings(timeout); }},
        {"administration", "getHoraModulo", "RdHora",
         "(i)", "", "(iI*)", 0, none, never,
         {{"hora", Kind::clock}, status},
         "getHoraModulo",
         {"i4 65535"},
         [](Client& client, Variables& to, int timeout) {
             client.getHoraModulo(65'535, to.clock, to.status, timeout);
         }},
        {"administration", "setRefrescoWeb", "ActualizaRefrescoWeb",
         "(i)", "", "(i*)", 0, none, never,
         {status},
         "setRefrescoWeb : host : 127.0.0.1 valor: 65535",
         {"i4 65535"},
         [](Client& client, Variables& to, int timeout) { client.setRefrescoWeb(65'535, to.status, timeout); }},
        {"administration", "updateNTP", "UpdateNTP",
         "()", "", "(i*)", 0, nonzero, never,
         {},
         "updateNTP",
         {},
         [](Client& client, Variables&, int timeout) { client.updateNTP(timeout); }},
        {"administration", "ejecutar_script", "EjecutarScript",
         "(s)", "", "(i*)", 0, nonzero, whenRefused,
         {},
         "ejecutar_script : nombre_script : limpia.sh",
         {"string limpia.sh"},
         [](Client& client, Variables&, int timeout) { client.ejecutar_script("limpia.sh", timeout); }},

        {"tuning", "sintonizarCanalTerr", "SintonizarCanalTerr",
         "(iiiib)", "", "(i*)", 0, nonzero, never,
         {status},
         "sintonizarCanalTerr : frecuencia: 4294967295\n",
         {"i4 -1", "i4 3", "i4 9", "i4 5", "boolean 1"},
         [](Client& client, Variables& to, int timeout) {
             client.sintonizarCanalTerr(canal(), 9, to.status, true, timeout);
         }},
        {"tuning", "sintonizarCanalSat", "SintonizarCanalSat",
         "(iiiiiiiib)", "", "(i*)", 0, nonzero, never,
         {status},
         "sintonizarCanalSat : frecuencia: 4294967295 frecuencia intermedia: 1500000\n",
         {"i4 1500000", "i4 -2", "i4 9", "i4 5", "i4 65535", "i4 6", "i4 7", "i4 8", "boolean 0"},
         [](Client& client, Variables& to, int timeout) {
             client.sintonizarCanalSat(canal(), 9, to.status, false, 8, timeout);
         }},

        {"scanning", "initInputScan", "InitInputScan",
         "(iii)", "", "(i*)", 0, negative, never,
         {status},
         "initInputScan : Entrada: 1 tipoScan: 2 bandaScan: A\n",
         {"i4 1", "i4 2", "i4 65"},
         [](Client& client, Variables& to, int timeout) { client.initInputScan(1, 2, to.status, 65, timeout); }},
        {"scanning", "statusInputScan", "StatusInputScan",
         "(ii)", "", "(i*)", 0, negative, never,
         {status},
         "statusInputScan : Entrada: 1 idScan: 4\n",
         {"i4 1", "i4 4"},
         [](Client& client, Variables& to, int timeout) { client.statusInputScan(1, 4, to.status, timeout); }},
        {"scanning", "getScanReport", "getScanReport",
         "(ii)", "", "(is*)", 0, negative, whenThrowing,
         {{"report", Kind::text}, status},
         "getScanReport : Entrada: 1 idScan: 4\n",
         {"i4 1", "i4 4"},
         [](Client& client, Variables& to, int timeout) {
             client.getScanReport(1, 4, to.texts[0], to.status, timeout);
         }},
        {"scanning", "cancelInputScan", "CancelInputScan",
         "(i)", "", "(i*)", 0, nonzero, never,
         {},
         "cancelInputScan : Entrada: 1\n",
         {"i4 1"},
         [](Client& client, Variables&, int timeout) { client.cancelInputScan(1, timeout); }},

        {"hardware", "getFPGASOC", "get_FPGA_SOC",
         "()", "", "(ii*)", 1, nonzero, never,
         {{"soc", Kind::soc}, status},
         "getFPGASOC",
         {},
         [](Client& client, Variables& to, int timeout) { client.getFPGASOC(to.soc, to.status, timeout); }},
        {"hardware", "changeFPGASOC", "Change_FPGA_SOC",
         "(i)", "", "(i*)", 0, nonzero, never,
         {status},
         "changeFPGASOC : host : 127.0.0.1 newSOC: 3000000000",
         {"i4 -1294967296"},
         [](Client& client, Variables& to, int timeout) {
             client.changeFPGASOC(3'000'000'000, to.status, timeout);
         }},
        {"hardware", "generarJSONWeb", "Generate_JSON_WEB",
         "(i)", "(i*)", "(is*)", 0, nonzero, never,
         {{"json", Kind::text}},
         "generarJSONWeb",
         {"i4 6"},
         [](Client& client, Variables& to, int timeout) { client.generarJSONWeb(6, to.texts[0], timeout); }},

        {"files", "DlFicheroEsclavo", "BorrarArchivo",
         "s", "", "(i*)", 0, nonzero, never,
         {status},
         "DlFicheroEsclavo : ruta_archivo : /tmp/a",
         {},
         [](Client& client, Variables& to, int timeout) { client.DlFicheroEsclavo("/tmp/a", to.status, timeout); }},
        {"files", "RdFicheroEsclavo", "RecibirArchivo",
         "(si)", "(i*)", "(i6*)", 0, nonzero, never,
         {{"contenido", Kind::block}},
         "RdFicheroEsclavo : ruta_archivo : /tmp/a borrar_archivo: 1",
         {"string /tmp/a", "i4 1"},
         [](Client& client, Variables& to, int timeout) {
             client.RdFicheroEsclavo("/tmp/a", 1, to.block, timeout);
         }},

        {"tables", "wrFicheroTablasSI", "wrFicheroTablasSI",
         "(ii6)", "", "(i*)", 0, nonzero, never,
         {},
         "wrFicheroTablasSI : host : 127.0.0.1, tipo_fichero :1, longitud :6",
         {"i4 1", "i4 2", "base64 bloque"},
         [](Client& client, Variables&, int timeout) { client.wrFicheroTablasSI(1, 2, block(), timeout); }},
        {"tables", "configureSAPServer", "configureSAP",
         "(ii6)", "", "(i*)", 0, nonzero, never,
         {},
         "configureSAPServer : host : 127.0.0.1, SAPMode :1, longitud :6",
         {"i4 1", "i4 2", "base64 bloque"},
         [](Client& client, Variables&, int timeout) { client.configureSAPServer(1, 2, block(), timeout); }},
        {"tables", "rdFicheroTablasSI", "RdFicheroTablasSI",
         "(iiiii)", "(i*)", "(i6*)", 0, nonzero, never,
         {{"bloque", Kind::block}},
         "rdFicheroTablasSI : host : 127.0.0.1, source :1, id_tabla :2, ext1 :3, ext2 :4, ext3 :5 timeout {timeout}",
         {"i4 1", "i4 2", "i4 3", "i4 4", "i4 5"},
         [](Client& client, Variables& to, int timeout) {
             client.rdFicheroTablasSI(1, 2, 3, 4, 5, to.block, timeout);
         }},
        {"tables", "rdFicheroResumen", "RdFicheroResumen",
         "(ii)", "(i)", "(i6*)", 0, nonzero, never,
         {{"bloque", Kind::block}},
         "rdFicheroResumen : host : 127.0.0.1, source :1, id_resumen :2",
         {"i4 1", "i4 2"},
         [](Client& client, Variables& to, int timeout) { client.rdFicheroResumen(1, 2, to.block, timeout); }},
    };
    return all;
}
// clang-format on

std::vector<Operation> operationsOnTheWire()
{
    std::vector<Operation> all = operations();
    std::erase_if(all, [](const Operation& operation) { return !operation.reachesTheWire(); });
    return all;
}

const Operation& operation(const std::string& name)
{
    const auto found = std::ranges::find(operations(), name, &Operation::name);
    if (found == operations().end())
        throw std::out_of_range("no operation " + name);
    return *found;
}

std::string Operation::types() const
{
    return reply.substr(1, reply.find('*') - 1);
}

std::string Operation::message(int timeout) const
{
    static const std::string placeholder = "{timeout}";
    std::string line = debugLine;
    if (const std::size_t at = line.find(placeholder); at != std::string::npos)
        line.replace(at, placeholder.size(), std::to_string(timeout));
    return line;
}

bool Operation::refuses(int status) const
{
    return refusal == StatusRule::nonzero ? status != 0 : refusal == StatusRule::negative && status < 0;
}

std::vector<std::string> Operation::read(const Variables& variables) const
{
    std::vector<std::string> values;
    std::size_t text = 0;
    for (const Output& output : outputs) {
        switch (output.kind) {
        case Kind::status:
            values.push_back(std::to_string(variables.status));
            break;
        case Kind::integer:
            values.push_back(std::to_string(variables.integer));
            break;
        case Kind::clock:
            values.push_back(std::to_string(variables.clock));
            break;
        case Kind::soc:
            values.push_back(std::to_string(variables.soc));
            break;
        case Kind::text:
            values.push_back(variables.texts.at(text++));
            break;
        case Kind::block:
            values.emplace_back(variables.block.begin(), variables.block.end());
            break;
        case Kind::table:
            values.push_back(asText(variables.table));
            break;
        }
    }
    return values;
}

std::vector<std::string> Operation::sampleReply(int status) const
{
    std::vector<std::string> values;
    std::size_t text = 0;
    for (const char type : types()) {
        switch (type) {
        case 'i':
            values.push_back(xml::i4(values.size() == statusAt ? status : sampleInteger));
            break;
        case 'I':
            values.push_back(xml::i8(sampleClock));
            break;
        case 's':
            values.push_back(xml::text(sampleText(text++)));
            break;
        case '6':
            values.push_back(xml::base64(sampleBlock));
            break;
        case 'A':
            values.push_back(xml::array({xml::array({xml::text("nombre")}), xml::array({xml::text("valor")})}));
            break;
        default:
            throw std::logic_error("no sample for " + reply);
        }
    }
    return values;
}

std::vector<std::string> Operation::delivered(int status) const
{
    Variables variables;
    variables.status = status;
    variables.integer = sampleInteger;
    variables.clock = sampleClock;
    variables.soc = sampleInteger;
    for (std::size_t i = 0; i < variables.texts.size(); ++i)
        variables.texts.at(i) = sampleText(i);
    variables.block = block();
    fill(variables.table, "nombre", "valor");
    return read(variables);
}

std::ostream& operator<<(std::ostream& out, const Operation& operation)
{
    return out << operation.name;
}

} // namespace support
