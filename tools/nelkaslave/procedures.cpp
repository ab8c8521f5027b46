#include "procedures.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>

#include <nelkanet/remotemethods.h>

#include "base64.h"
#include "refusal.h"
#include "sample.h"
#include "scans.h"

namespace nelkaslave {

Content::Content(const std::filesystem::path& folder)
    : databases(folder), files(folder / "files"), tables(folder / "tables"), state(folder / "state.json")
{
}

Content* Slave::operator->()
{
    if (!content)
        throw Refusal(storageError, "the last reset failed");
    return &*content;
}

void Slave::reset()
{
    content.reset();
    makeSample(folder);
    content.emplace(folder);
}

namespace {

template <typename... Payload>
Value done(const Payload&... payload)
{
    return array(integer(ok), payload...);
}

template <typename Duration>
std::int64_t now()
{
    return std::chrono::duration_cast<Duration>(std::chrono::system_clock::now().time_since_epoch()).count();
}

void require(bool right, const std::string& wanted)
{
    if (!right)
        throw Refusal(badArgument, wanted);
}

// Index of an input.
std::size_t input(const State& state, int entrada)
{
    require(entrada >= 0 && static_cast<std::size_t>(entrada) < state.entradas.size(),
            "no input " + std::to_string(entrada));
    return static_cast<std::size_t>(entrada);
}

// Core ---------------------------------------------------------------------------------------------------------

Value sampleAdd(Slave&, const Arguments& arguments)
{
    const auto [first, second] = arguments.as<int, int>();
    const unsigned int sum = static_cast<unsigned int>(first) + static_cast<unsigned int>(second);
    return array(integer(static_cast<int>(sum)));
}

// Database -----------------------------------------------------------------------------------------------------

Value getTable(Slave& slave, const Arguments& arguments)
{
    const auto [database, query] = arguments.as<std::string, std::string>();
    return done(slave->databases.table(database, query));
}

Value execQuery(Slave& slave, const Arguments& arguments)
{
    const auto [database, table, query] = arguments.as<std::string, std::string, std::string>();
    return done(integer(slave->databases.execute(database, table, query)));
}

// Identity -----------------------------------------------------------------------------------------------------

Value actualizaIdentificacion(Slave& slave, const Arguments& arguments)
{
    arguments.as<int>();
    const Identification& fields = slave->state.get().identificacion;
    return done(text(fields.campo1), text(fields.campo2), text(fields.campo3), integer(fields.campo4),
                text(fields.campo5), text(fields.campo6), text(fields.campo7));
}

Value getAlarmasEstadoControlador(Slave& slave, const Arguments& arguments)
{
    arguments.as<int>();
    std::string lines;
    for (const std::string& alarm : slave->state.get().alarmas)
        lines += alarm + "\n";
    return done(text(lines));
}

Value checkSincronizado(Slave& slave, const Arguments& arguments)
{
    const auto [entrada] = arguments.as<int>();
    const State& state = slave->state.get();
    if (state.entradas[input(state, entrada)].sintonia.is_null())
        throw Refusal(notFound, "input " + std::to_string(entrada) + " is not tuned to a channel");
    return done();
}

Value changes(Slave& slave, const Arguments& arguments)
{
    const auto [database] = arguments.as<std::string>();
    return done(integer(slave->databases.changes(database)));
}

// Administration -----------------------------------------------------------------------------------------------

Value resetFactoryEsclavo(Slave& slave, const Arguments& arguments)
{
    arguments.as<>();
    slave.reset();
    return done();
}

Value rdHora(Slave&, const Arguments& arguments)
{
    arguments.as<int>();
    return done(integer64(now<std::chrono::seconds>()));
}

Value actualizaRefrescoWeb(Slave& slave, const Arguments& arguments)
{
    const auto [valor] = arguments.as<int>();
    require(valor >= 0 && valor <= 65535, "a refresh value must be 0 to 65535");
    slave->state.change([valor = valor](State& state) { state.refresco_web = valor; });
    return done();
}

Value updateNTP(Slave& slave, const Arguments& arguments)
{
    arguments.as<>();
    slave->state.change([](State& state) { state.ultimo_ntp = now<std::chrono::seconds>(); });
    return done();
}

Value ejecutarScript(Slave& slave, const Arguments& arguments)
{
    const auto [nombre] = arguments.as<std::string>();
    require(!nombre.empty() && nombre.find('/') == std::string::npos, "not a script name: " + nombre);
    const auto& scripts = slave->state.get().scripts;
    if (std::find(scripts.begin(), scripts.end(), nombre) == scripts.end())
        throw Refusal(notFound, "no script " + nombre);
    slave->state.change([&nombre = nombre](State& state) { state.ultimo_script = nombre; });
    return done();
}

// Tuning -------------------------------------------------------------------------------------------------------

void tune(Slave& slave, int entrada, int frecuencia, const Json& sintonia)
{
    require(frecuencia != 0, "no channel has frequency 0");
    slave->state.change([&](State& state) { state.entradas[input(state, entrada)].sintonia = sintonia; });
}

// Frequencies are unsigned, but sent as signed integers with the same bits.
std::uint32_t hertz(int frecuencia)
{
    return static_cast<std::uint32_t>(frecuencia);
}

Value sintonizarCanalTerr(Slave& slave, const Arguments& arguments)
{
    const auto [frecuencia, terr, entrada, comun, indicador] = arguments.as<int, int, int, int, bool>();
    tune(slave, entrada, frecuencia,
         {{"tipo", "terrestre"},
          {"frecuencia", hertz(frecuencia)},
          {"parametroTerr", terr},
          {"parametroComun", comun},
          {"indicador", indicador}});
    return done();
}

Value sintonizarCanalSat(Slave& slave, const Arguments& arguments)
{
    const auto [frecuencia, sat, entrada, comun, sat2, sat3, sat4, extra, indicador] =
        arguments.as<int, int, int, int, int, int, int, int, bool>();
    tune(slave, entrada, frecuencia,
         {{"tipo", "satelite"},
          {"frecuenciaIntermedia", hertz(frecuencia)},
          {"parametroSat", sat},
          {"parametroComun", comun},
          {"parametroSat2", sat2},
          {"parametroSat3", sat3},
          {"parametroSat4", sat4},
          {"parametroExtraSat", extra},
          {"indicador", indicador}});
    return done();
}

// Scanning -----------------------------------------------------------------------------------------------------

int progressNow(const State& state, const Scan& scan)
{
    return progress(scan, state.duracion_scan_ms, now<std::chrono::milliseconds>());
}

const Scan& scanOf(const State& state, int entrada, int id)
{
    const Scan& scan = state.entradas[input(state, entrada)].scan;
    if (id == 0 || scan.id != id)
        throw Refusal(notFound, "no scan " + std::to_string(id) + " of input " + std::to_string(entrada));
    return scan;
}

// A new scan replaces one on the same input.
Value initInputScan(Slave& slave, const Arguments& arguments)
{
    const auto [entrada, tipo, banda] = arguments.as<int, int, int>();
    require(banda >= 0 && banda <= 255, "a band must be 0 to 255");
    slave->state.change([entrada = entrada, tipo = tipo, banda = banda](State& state) {
        Input& scanned = state.entradas[input(state, entrada)];
        state.ultimo_scan = state.ultimo_scan == std::numeric_limits<int>::max() ? 1 : state.ultimo_scan + 1;
        scanned.scan = {state.ultimo_scan, tipo, banda, now<std::chrono::milliseconds>()};
    });
    return array(integer(slave->state.get().ultimo_scan));
}

Value statusInputScan(Slave& slave, const Arguments& arguments)
{
    const auto [entrada, id] = arguments.as<int, int>();
    const State& state = slave->state.get();
    return array(integer(progressNow(state, scanOf(state, entrada, id))));
}

Value scanReport(Slave& slave, const Arguments& arguments)
{
    const auto [entrada, id] = arguments.as<int, int>();
    const State& state = slave->state.get();
    const Scan& scan = scanOf(state, entrada, id);
    return done(text(report(entrada, scan, progressNow(state, scan))));
}

Value cancelInputScan(Slave& slave, const Arguments& arguments)
{
    const auto [entrada] = arguments.as<int>();
    const State& state = slave->state.get();
    const Scan& scan = state.entradas[input(state, entrada)].scan;
    if (scan.id == 0 || progressNow(state, scan) == 100)
        throw Refusal(notFound, "no scan runs on input " + std::to_string(entrada));
    slave->state.change([entrada = entrada](State& next) { next.entradas[input(next, entrada)].scan = {}; });
    return done();
}

// Hardware -----------------------------------------------------------------------------------------------------

Value getFpgaSoc(Slave& slave, const Arguments& arguments)
{
    arguments.as<>();
    return array(integer(slave->state.get().soc), integer(ok));
}

Value changeFpgaSoc(Slave& slave, const Arguments& arguments)
{
    const auto [soc] = arguments.as<int>();
    slave->state.change([soc = soc](State& state) { state.soc = soc; });
    return done();
}

Value generateJsonWeb(Slave& slave, const Arguments& arguments)
{
    arguments.as<int>();
    const State& state = slave->state.get();
    Json document = toJson(state);
    document["hora"] = now<std::chrono::seconds>();
    document["sap"]["bloque"] = fromBase64(state.sap.bloque).size(); // the block might not fit into a reply
    for (std::size_t i = 0; i < state.entradas.size(); ++i)
        if (const Scan& scan = state.entradas[i].scan; scan.id != 0)
            document["entradas"][i]["scan"]["progreso"] = progressNow(state, scan);
    return done(text(document.dump(-1, ' ', true)));
}

// Files --------------------------------------------------------------------------------------------------------

// What the library's client accepts.
constexpr std::size_t largestReply = 1U << 20U;

Value recibirArchivo(Slave& slave, const Arguments& arguments)
{
    const auto [path, remove] = arguments.as<std::string, int>();
    Value reply = done(block(slave->files.read(path)));
    if (remove) {
        if (sizeOfResponse(reply) > largestReply)
            throw Refusal(storageError, "too large for a client, and therefore not deleted: " + path);
        slave->files.remove(path);
    }
    return reply;
}

Value borrarArchivo(Slave& slave, const Arguments& arguments)
{
    const auto [path] = arguments.as<std::string>();
    slave->files.remove(path);
    return done();
}

// Tables -------------------------------------------------------------------------------------------------------

Value writeTable(Slave& slave, const Arguments& arguments)
{
    const auto [tipo, numero, contents] = arguments.as<int, int, Block>();
    slave->tables.write(tipo, numero, contents.bytes);
    return done();
}

Value configureSap(Slave& slave, const Arguments& arguments)
{
    const auto [modo, parametro, contents] = arguments.as<int, int, Block>();
    const Sap sap = {modo, parametro, toBase64(contents.bytes)};
    slave->state.change([&](State& state) { state.sap = sap; });
    return done();
}

Value readTable(Slave& slave, const Arguments& arguments)
{
    const auto [source, id, ext1, ext2, ext3] = arguments.as<int, int, int, int, int>();
    if (ext1 != 0 || ext2 != 0 || ext3 != 0)
        throw Refusal(notFound, "only the extensions 0, 0, 0 exist");
    return done(block(slave->tables.read(source, id)));
}

Value readSummary(Slave& slave, const Arguments& arguments)
{
    const auto [source, id] = arguments.as<int, int>();
    return done(block(slave->tables.read(source, id)));
}

// Where positive statuses are results, an error is negative.
Value negative(int status)
{
    return array(integer(-status));
}

Value valueAndStatus(int status)
{
    return array(integer(0), integer(status));
}

Value negativeAndText(int status)
{
    return array(integer(-status), text(""));
}

} // namespace

Value statusAlone(int status)
{
    return array(integer(status));
}

const std::vector<Procedure>& procedures()
{
    namespace remote = nelka::remote;
    static const std::vector<Procedure> all = {
        {"sample.add", sampleAdd, statusAlone, std::nullopt},

        {remote::GetTable, getTable},
        {remote::ExecQuery, execQuery},

        {remote::ActualizaIdentificacion, actualizaIdentificacion},
        {remote::GetAlarmasEstadoControlador, getAlarmasEstadoControlador},
        {remote::CheckSincronizado, checkSincronizado},
        {remote::Changes, changes},

        {remote::ResetFactoryEsclavo, resetFactoryEsclavo},
        {remote::RdHora, rdHora},
        {remote::ActualizaRefrescoWeb, actualizaRefrescoWeb},
        {remote::UpdateNTP, updateNTP},
        {remote::EjecutarScript, ejecutarScript},

        {remote::SintonizarCanalTerr, sintonizarCanalTerr},
        {remote::SintonizarCanalSat, sintonizarCanalSat},

        {remote::InitInputScan, initInputScan, negative},
        {remote::StatusInputScan, statusInputScan, negative},
        {remote::getScanReport, scanReport, negativeAndText},
        {remote::CancelInputScan, cancelInputScan},

        {remote::get_FPGA_SOC, getFpgaSoc, valueAndStatus, 1},
        {remote::Change_FPGA_SOC, changeFpgaSoc},
        {remote::Generate_JSON_WEB, generateJsonWeb},

        {remote::RecibirArchivo, recibirArchivo},
        {remote::BorrarArchivo, borrarArchivo},

        {remote::wrFicheroTablasSI, writeTable},
        {remote::configureSAP, configureSap},
        {remote::RdFicheroTablasSI, readTable},
        {remote::RdFicheroResumen, readSummary},
    };
    return all;
}

const Procedure* findProcedure(const std::string& name)
{
    const auto& all = procedures();
    const auto found = std::find_if(all.begin(), all.end(), [&](const Procedure& each) { return each.name == name; });
    return found == all.end() ? nullptr : &*found;
}

} // namespace nelkaslave
