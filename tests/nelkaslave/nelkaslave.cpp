// The simulated slave, called by the library's client.
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>
#include <sys/stat.h>

#include "support/blocks.h"
#include "support/simulatedslave.h"
#include "support/xmlrpcspy.h"

using namespace support;
namespace fs = std::filesystem;

namespace {

constexpr int ampleTimeout = 10000;
constexpr int notFound = 1;
constexpr int badArgument = 2;
constexpr int databaseError = 3;
constexpr int storageError = 4;

class Slave : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(client.init(), 0);
        client.dbName = "modulo";
    }

    nelkadb::ResultSet table(const std::string& query)
    {
        nelkadb::ResultSet result;
        client.getTable(query, result, ampleTimeout);
        return result;
    }

    int execute(const std::string& name, const std::string& query)
    {
        int changed = -1;
        client.execQuery(query, changed, name, ampleTimeout);
        return changed;
    }

    int changes()
    {
        int count = -1;
        client.xmlrpc_changes(count, ampleTimeout);
        return count;
    }

    std::string file(const std::string& path, bool remove = false)
    {
        std::vector<char> content;
        client.RdFicheroEsclavo(path, remove, content, ampleTimeout);
        return std::string(content.begin(), content.end());
    }

    std::string json()
    {
        std::string text;
        client.generarJSONWeb(0, text, ampleTimeout);
        return text;
    }

    TemporaryFolder folder;
    const fs::path state = folder.path / "state";
    SimulatedSlave slave{{"--state", state}};
    nelka::XmlrpcClient client{"127.0.0.1", slave.port(), "eth1", "test", "1.0"};
};

// Core ---------------------------------------------------------------------------------------------------------

TEST_F(Slave, AnswersProbe)
{
    ::testing::internal::CaptureStdout();
    client.sampleadd(ampleTimeout);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "RESULTADO 15");
    EXPECT_EQ(client.getFault(), 0);
}

// Database -----------------------------------------------------------------------------------------------------

TEST_F(Slave, QueryReturnsRowsUnderNames)
{
    const nelkadb::ResultSet rows = table("SELECT id, nombre AS n, NULL FROM canales WHERE id < 3 ORDER BY id DESC");
    ASSERT_EQ(client.getFault(), 0);
    ASSERT_EQ(rows.columnCount(), 3U);
    ASSERT_EQ(rows.rowCount(), 2U);
    EXPECT_EQ(rows.columnName(1), "n");
    EXPECT_EQ(rows.value(0, 0), "2");
    EXPECT_EQ(rows.value(1, 1), "TVN Uno");
    EXPECT_TRUE(rows.isNull(0, 2));
}

TEST_F(Slave, QueryWithoutRowsReturnsNames)
{
    const nelkadb::ResultSet rows = table("SELECT id, nombre FROM canales WHERE id > 1000");
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(rows.rowCount(), 0U);
    ASSERT_EQ(rows.columnCount(), 2U);
    EXPECT_EQ(rows.columnName(0), "id");
}

TEST_F(Slave, QueryReturnsEveryValue)
{
    const nelkadb::ResultSet rows = table("SELECT 2147483648, 0.5, 9e999, x'00FF', 'ñ', 'a' || char(0) || 'b', "
                                          "CAST(x'41FF' AS TEXT), char(128512), 'a' || char(13, 10), 'b' || char(13)");
    ASSERT_EQ(client.getFault(), 0);
    const std::vector<std::string> expected = {
        "2147483648", "0.5",   "Inf", std::string("\0\xFF", 2), "ñ", std::string("a\0b", 3), "A\xFF",
        "😀",          "a\r\n", "b\r"};
    std::vector<std::string> received;
    for (std::size_t column = 0; column < rows.columnCount(); ++column)
        received.push_back(rows.value(0, column));
    EXPECT_EQ(received, expected);
}

// SQLite needs more than a double to read a literal with a large exponent exactly; 32-bit ARM has no such type.
constexpr int largestExponent =
    std::numeric_limits<long double>::digits > std::numeric_limits<double>::digits ? 300 : 7;

// A decimal number with up to 15 digits, between 1e-300 and 1e300.
std::string randomNumber(std::mt19937& random)
{
    std::string digits = std::to_string(std::uniform_int_distribution<long long>(1, 999999999999999)(random));
    digits.resize(std::uniform_int_distribution<std::size_t>(1, digits.size())(random));
    const int exponent = random() % 2 == 0
                             ? std::uniform_int_distribution(-largestExponent, largestExponent - 1)(random)
                             : std::uniform_int_distribution(-7, 7)(random);
    return digits.insert(1, ".") + "e" + std::to_string(exponent);
}

TEST_F(Slave, QueryReturnsFifteenDigits)
{
    execute("reales", "CREATE TABLE reales (valor REAL)");
    std::mt19937 random(1);
    const std::string e = std::to_string(largestExponent);
    std::vector<std::string> sent{"62.55", "0.3", "1e-07", "1e-" + e, "1e" + e, "-0.1", "123456789012345.0"};
    while (sent.size() < 10000)
        sent.push_back(randomNumber(random));
    std::string values;
    for (const std::string& number : sent)
        values += (values.empty() ? "(" : ",(") + number + ")";
    ASSERT_EQ(execute("reales", "INSERT INTO reales VALUES " + values), static_cast<int>(sent.size()));

    std::vector<std::string> changed;
    constexpr std::size_t page = 1000; // fits into a reply
    for (std::size_t first = 0; first < sent.size(); first += page) {
        const nelkadb::ResultSet rows =
            table("SELECT valor FROM reales WHERE rowid > " + std::to_string(first) + " ORDER BY rowid LIMIT 1000");
        ASSERT_EQ(rows.rowCount(), page);
        for (std::size_t row = 0; row < page; ++row)
            if (std::strtod(rows.value(row, 0).c_str(), nullptr) != std::strtod(sent[first + row].c_str(), nullptr))
                changed.push_back(sent[first + row] + " became " + rows.value(row, 0));
    }
    EXPECT_EQ(changed, std::vector<std::string>{});
}

TEST_F(Slave, CountsAcknowledgedWrites)
{
    EXPECT_EQ(changes(), 0);
    EXPECT_EQ(execute("canales", "UPDATE canales SET activo = 0 WHERE entrada = 0"), 2);
    EXPECT_EQ(changes(), 1);
    execute("canales", "UPDATE canales SET nonsense = 0");
    execute("canales", "SELECT * FROM canales");
    EXPECT_EQ(changes(), 1);
    EXPECT_EQ(execute("canales", "DELETE FROM canales"), 6);
    EXPECT_EQ(changes(), 2);
}

TEST_F(Slave, CreatesAndDropsTable)
{
    EXPECT_EQ(execute("nueva", "CREATE TABLE nueva (a)"), 0);
    EXPECT_EQ(execute("nueva", "INSERT INTO nueva VALUES (1), (2)"), 2);
    EXPECT_EQ(execute("nueva", "ALTER TABLE nueva RENAME TO otra"), 0);
    EXPECT_EQ(table("SELECT * FROM otra").rowCount(), 2U);
    EXPECT_EQ(execute("otra", "DROP TABLE otra"), 0);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(changes(), 4);
}

struct Query {
    const char* name;
    std::string text;
};

void PrintTo(const Query& query, std::ostream* out)
{
    *out << query.text;
}

const auto byName = [](const auto& instance) { return std::string(instance.param.name); };

class RefusedQuery : public Slave, public ::testing::WithParamInterface<Query> {};

TEST_P(RefusedQuery, LeavesResultAndDatabase)
{
    nelkadb::ResultSet rows = table("SELECT 'former'");
    client.getTable(GetParam().text, rows, ampleTimeout);
    EXPECT_EQ(client.getFault(), databaseError);
    EXPECT_EQ(rows.value(0, 0), "former");
    EXPECT_EQ(table("SELECT * FROM canales").rowCount(), 6U);
    EXPECT_EQ(changes(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    , RefusedQuery,
    ::testing::Values(Query{"WhatIsNoSql", "SELEKT 1"}, Query{"Nothing", ""}, Query{"AComment", "-- nothing"},
                      Query{"ATableThatThereIsNot", "SELECT * FROM nada"},
                      Query{"TwoStatements", "SELECT 1; DELETE FROM canales"},
                      Query{"ADeletion", "DELETE FROM canales"},
                      Query{"AnInsertionThatReturnsRows", "INSERT INTO canales (nombre) VALUES ('x') RETURNING id"},
                      Query{"AnAttachment", "ATTACH 'other.db' AS other"}, Query{"ATransaction", "BEGIN EXCLUSIVE"},
                      Query{"ASetting", "PRAGMA journal_mode = WAL"}, Query{"TheCounter", "PRAGMA user_version = 9"},
                      Query{"AnExtension", "SELECT load_extension('libm.so.6')"},
                      Query{"RowsWithoutEnd",
                            "WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) SELECT * FROM n"},
                      Query{"AnEnormousValue", "SELECT zeroblob(900000000)"}),
    byName);

class RefusedStatement : public Slave, public ::testing::WithParamInterface<Query> {};

TEST_P(RefusedStatement, LeavesResultAndDatabase)
{
    EXPECT_EQ(execute("canales", GetParam().text), -1);
    EXPECT_EQ(client.getFault(), databaseError);
    EXPECT_EQ(table("SELECT * FROM canales WHERE activo < 2").rowCount(), 6U);
    EXPECT_EQ(table("SELECT * FROM servicios WHERE puerto = 5004").rowCount(), 6U);
    EXPECT_EQ(changes(), 0);
    EXPECT_FALSE(fs::exists(state / "other.db"));
}

INSTANTIATE_TEST_SUITE_P(
    , RefusedStatement,
    ::testing::Values(
        Query{"WhatIsNoSql", "UPDATE"}, Query{"Nothing", " ; "},
        Query{"TwoStatements", "UPDATE canales SET activo = 7; DELETE FROM canales"},
        Query{"TheEndOfItsTransaction", "COMMIT"}, Query{"AStatementAfterThatEnd", "COMMIT; DELETE FROM canales"},
        Query{"AChangeThatFailsHalfway", "UPDATE canales SET activo = CASE id WHEN 6 THEN NULL ELSE 7 END"},
        Query{"AChangeThatRollsBack", "INSERT OR ROLLBACK INTO canales (id, nombre) VALUES (1, 'x')"},
        Query{"AnotherTableThanTheNamedOne", "UPDATE servicios SET puerto = 1"},
        Query{"AnAttachment", "ATTACH 'other.db' AS other"}, Query{"ACopyElsewhere", "VACUUM INTO 'other.db'"},
        Query{"AnIndexOfAnotherTable", "CREATE INDEX otro ON servicios (puerto)"},
        Query{"ATriggerOfAnotherTable", "CREATE TRIGGER otro AFTER DELETE ON servicios BEGIN DELETE FROM canales; END"},
        Query{"AnotherView", "CREATE VIEW otra AS SELECT 1"}, Query{"StatisticsOfAnotherTable", "ANALYZE servicios"},
        Query{"TheCounter", "PRAGMA user_version = 9"}, Query{"TheSchema", "UPDATE sqlite_master SET sql = ''"}),
    byName);

TEST_F(Slave, LeavesIndexOfOtherTable)
{
    execute("servicios", "CREATE INDEX indice ON servicios (puerto)");
    ASSERT_EQ(client.getFault(), 0);
    for (const char* statement : {"DROP INDEX indice", "REINDEX indice"}) {
        execute("canales", statement);
        EXPECT_EQ(client.getFault(), databaseError) << statement;
    }
    execute("servicios", "DROP INDEX indice");
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(Slave, EndsDuringEndlessQuery)
{
    int changed = -1;
    client.execQuery("UPDATE canales SET activo = (WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n) "
                     "SELECT max(x) FROM n)",
                     changed, "canales", 500);
    EXPECT_EQ(client.getFault(), -505);
    EXPECT_EQ(slave.end(SIGTERM), 0);
}

// A refused name, and the status.
struct Refused {
    const char* name;
    std::string text;
    int status;
};

void PrintTo(const Refused& refused, std::ostream* out)
{
    *out << refused.text;
}

class SlaveWithoutDatabase : public Slave, public ::testing::WithParamInterface<Refused> {};

TEST_P(SlaveWithoutDatabase, RefusesEveryProcedure)
{
    client.dbName = GetParam().text;
    table("SELECT 1");
    EXPECT_EQ(client.getFault(), GetParam().status);
    execute("canales", "DELETE FROM canales");
    EXPECT_EQ(client.getFault(), GetParam().status);
    changes();
    EXPECT_EQ(client.getFault(), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(, SlaveWithoutDatabase,
                         ::testing::Values(Refused{"Unknown", "nada", notFound}, Refused{"Empty", "", badArgument},
                                           Refused{"Upwards", "..", badArgument},
                                           Refused{"RoundAbout", "../state/modulo", badArgument},
                                           Refused{"Absolute", "/modulo", badArgument},
                                           Refused{"WithItsExtension", "modulo.db", badArgument},
                                           Refused{"BeyondAscii", "ñ", badArgument},
                                           Refused{"TooLong", std::string(65, 'x'), badArgument}),
                         byName);

TEST_F(Slave, ReportsBrokenDatabase)
{
    fileWith(state / "roto.db", "this is no database, however long it may be read");
    client.dbName = "roto";
    table("SELECT 1 FROM sqlite_master");
    EXPECT_EQ(client.getFault(), databaseError);
    EXPECT_EQ(changes(), -1);
    EXPECT_EQ(client.getFault(), databaseError);
}

// Identity -----------------------------------------------------------------------------------------------------

TEST_F(Slave, IdentifiesItself)
{
    std::string campo1, campo2, campo3, campo5, campo6, campo7;
    int campo4 = -1;
    client.actualizaIdentificacion(campo1, campo2, campo3, campo4, campo5, campo6, campo7, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(
        (std::vector<std::string>{campo1, campo2, campo3, campo5, campo6, campo7}),
        (std::vector<std::string>{"NK-4T", "SN00421764", "2.7.1", "3.0.2", "cabecera-norte", "00:1A:2B:3C:4D:5E"}));
    EXPECT_EQ(campo4, 4);
}

TEST_F(Slave, ReportsAlarms)
{
    std::string alarms;
    int status = -1;
    client.getAlarmasEstadoControlador(alarms, status, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(alarms, "3 entrada 3: sin enganche\n12 ventilador 2: velocidad baja\n");
}

TEST_F(Slave, TunedInputIsSynchronised)
{
    const auto synchronised = [this](int entrada) {
        int status = -1;
        client.checkSincronizado(entrada, status, ampleTimeout);
        return status;
    };
    EXPECT_EQ(synchronised(0), 0);
    EXPECT_EQ(synchronised(1), notFound);
    EXPECT_EQ(synchronised(4), badArgument);
    EXPECT_EQ(synchronised(-1), badArgument);
}

// Administration -----------------------------------------------------------------------------------------------

TEST_F(Slave, ResetRestoresSample)
{
    execute("canales", "DELETE FROM canales");
    file("/version.txt", true);
    client.wrFicheroTablasSI(9, 9, {'x'}, ampleTimeout);
    int status = -1;
    client.changeFPGASOC(1, status, ampleTimeout);

    client.resetModuleToFactorySettings(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(table("SELECT * FROM canales").rowCount(), 6U);
    EXPECT_EQ(changes(), 0);
    EXPECT_EQ(file("/version.txt"), "NK-4T 2.7.1\n");
    std::vector<char> block;
    client.rdFicheroResumen(9, 9, block, ampleTimeout);
    EXPECT_EQ(client.getFault(), notFound);
    unsigned long soc = 0;
    client.getFPGASOC(soc, status, ampleTimeout);
    EXPECT_EQ(soc, 20417U);
}

TEST_F(Slave, ReportsTime)
{
    // std::time() lags up to a tick behind the slave's clock.
    const auto seconds = [] {
        const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
        return static_cast<unsigned long long>(std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch).count());
    };
    const unsigned long long before = seconds();
    unsigned long long hora = 0;
    int status = -1;
    client.getHoraModulo(0, hora, status, ampleTimeout);
    EXPECT_EQ(status, 0);
    EXPECT_GE(hora, before);
    EXPECT_LE(hora, seconds());
}

TEST_F(Slave, RecordsSettings)
{
    int status = -1;
    client.setRefrescoWeb(65535, status, ampleTimeout);
    EXPECT_EQ(status, 0);
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    client.ejecutar_script("diagnostico", ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    const std::string document = json();
    EXPECT_NE(document.find("\"refresco_web\":65535"), std::string::npos) << document;
    EXPECT_NE(document.find("\"ultimo_script\":\"diagnostico\""), std::string::npos) << document;
    EXPECT_EQ(document.find("\"ultimo_ntp\":0"), std::string::npos) << document;
}

TEST_F(Slave, RefusesUnknownScript)
{
    XmlrpcSpy spy; // a client leaks the reply of a refused script
    client.ejecutar_script("nada", ampleTimeout);
    EXPECT_EQ(client.getFault(), notFound);
    spy.releaseKeptResult();
    client.ejecutar_script("/bin/true", ampleTimeout);
    EXPECT_EQ(client.getFault(), badArgument);
    spy.releaseKeptResult();
}

// Tuning -------------------------------------------------------------------------------------------------------

TEST_F(Slave, TunesGivenInput)
{
    nelka::tcanal canal;
    canal.frecuencia = 626000000;
    canal.parametroTerr = 8;
    int status = -1;
    client.sintonizarCanalTerr(canal, 1, status, true, ampleTimeout);
    EXPECT_EQ(status, 0);
    canal.frecuenciaIntermedia = 4000000000;
    client.sintonizarCanalSat(canal, 2, status, false, 17, ampleTimeout);
    EXPECT_EQ(status, 0);
    const std::string document = json();
    EXPECT_NE(document.find(R"({"frecuencia":626000000,"indicador":true,"parametroComun":0,"parametroTerr":8,)"),
              std::string::npos)
        << document;
    EXPECT_NE(document.find("\"frecuenciaIntermedia\":4000000000,"), std::string::npos) << document;
    EXPECT_NE(document.find("\"parametroExtraSat\":17,"), std::string::npos) << document;
    client.checkSincronizado(2, status, ampleTimeout);
    EXPECT_EQ(status, 0);
}

TEST_F(Slave, RefusesUnknownInputAndFrequencyZero)
{
    nelka::tcanal canal;
    int status = -1;
    client.sintonizarCanalTerr(canal, 1, status, true, ampleTimeout);
    EXPECT_EQ(client.getFault(), badArgument);
    canal.frecuencia = 626000000;
    client.sintonizarCanalTerr(canal, 4, status, true, ampleTimeout);
    EXPECT_EQ(client.getFault(), badArgument);
}

// Scanning -----------------------------------------------------------------------------------------------------

class ScanningSlave : public Slave {
protected:
    int begin(int entrada)
    {
        int id = -1;
        client.initInputScan(entrada, 0, id, 2, ampleTimeout);
        return id;
    }

    int progress(int entrada, int id)
    {
        int status = -1;
        client.statusInputScan(entrada, id, status, ampleTimeout);
        return status;
    }

    std::string report(int entrada, int id)
    {
        std::string text;
        int status = -1;
        client.getScanReport(entrada, id, text, status, ampleTimeout);
        EXPECT_EQ(status, client.getFault());
        return text;
    }
};

TEST_F(ScanningSlave, AdvancesToEndAndReports)
{
    const fs::path shortScans = folder.path / "short";
    makeState(shortScans);
    fileWith(shortScans / "state.json", R"({"duracion_scan_ms": 400, "entradas": [{}, {}]})");
    const SimulatedSlave quick({"--state", shortScans});
    nelka::XmlrpcClient master("127.0.0.1", quick.port(), "eth1", "test", "1.0");
    ASSERT_EQ(master.init(), 0);

    int id = -1;
    master.initInputScan(1, 0, id, 2, ampleTimeout);
    ASSERT_EQ(master.getFault(), 0);
    int last = 0;
    std::set<int> seen;
    while (last < 100) {
        int now = -1;
        master.statusInputScan(1, id, now, ampleTimeout);
        ASSERT_GE(now, last);
        last = now;
        seen.insert(now);
    }
    EXPECT_EQ(last, 100);
    EXPECT_GT(seen.size(), 2U);

    std::string text;
    int status = -1;
    master.getScanReport(1, id, text, status, ampleTimeout);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(text.find("entrada 1 tipo 0 banda 2 progreso 100\ncanal "), 0U) << text;
    master.cancelInputScan(1, ampleTimeout);
    EXPECT_EQ(master.getFault(), notFound);
}

TEST_F(ScanningSlave, IdentifierWrapsAround)
{
    const fs::path used = folder.path / "used";
    makeState(used);
    fileWith(used / "state.json", R"({"ultimo_scan": 2147483647, "entradas": [{}]})");
    const SimulatedSlave worn({"--state", used});
    nelka::XmlrpcClient master("127.0.0.1", worn.port(), "eth1", "test", "1.0");
    ASSERT_EQ(master.init(), 0);
    int id = -1;
    master.initInputScan(0, 0, id, 2, ampleTimeout);
    EXPECT_EQ(id, 1);
}

TEST_F(ScanningSlave, ForgetsCancelledScan)
{
    const int id = begin(1);
    EXPECT_EQ(report(1, id).find("entrada 1 tipo 0 banda 2 progreso "), 0U);
    client.cancelInputScan(1, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(progress(1, id), -notFound);
    EXPECT_EQ(report(1, id), "");
    EXPECT_EQ(client.getFault(), -notFound);
    client.cancelInputScan(1, ampleTimeout);
    EXPECT_EQ(client.getFault(), notFound);
}

TEST_F(ScanningSlave, KeepsScansOfInputsApart)
{
    const int first = begin(1);
    const int second = begin(2);
    EXPECT_NE(first, second);
    EXPECT_GE(progress(1, first), 0);
    EXPECT_EQ(progress(1, second), -notFound);
    const int third = begin(1);
    EXPECT_EQ(progress(1, first), -notFound);
    EXPECT_GE(progress(1, third), 0);
    EXPECT_GE(progress(2, second), 0);
}

TEST_F(ScanningSlave, RefusesUnknownInputWithNegativeStatus)
{
    EXPECT_EQ(begin(7), -badArgument);
    EXPECT_EQ(client.getFault(), -badArgument);
    EXPECT_EQ(progress(7, 1), -badArgument);
    EXPECT_EQ(progress(1, 0), -notFound);
}

// Hardware -----------------------------------------------------------------------------------------------------

TEST_F(Slave, ChangesItsSoc)
{
    int status = -1;
    client.changeFPGASOC(3000000000, status, ampleTimeout);
    EXPECT_EQ(status, 0);
    unsigned long soc = 0;
    client.getFPGASOC(soc, status, ampleTimeout);
    EXPECT_EQ(static_cast<std::uint32_t>(soc), 3000000000U);
    EXPECT_EQ(client.getFault(), 0);
}

// Files --------------------------------------------------------------------------------------------------------

TEST_F(Slave, SendsFileAndDeletesItIfAsked)
{
    const std::string content = bytes(100000);
    fileWith(state / "files/config/bloque", content);
    EXPECT_EQ(file("/config/bloque"), content);
    EXPECT_EQ(file("config//./bloque", true), content);
    EXPECT_EQ(file("/config/bloque"), "");
    EXPECT_EQ(client.getFault(), notFound);
    EXPECT_FALSE(fs::exists(state / "files/config/bloque"));
}

TEST_F(Slave, KeepsFileTooLargeForClient)
{
    fileWith(state / "files/grande", bytes(800000));
    file("grande", true);
    EXPECT_EQ(client.getFault(), storageError);
    EXPECT_TRUE(fs::exists(state / "files/grande"));
    file("grande");
    EXPECT_EQ(client.getFault(), -509); // it really exceeds the client's limit
}

TEST_F(Slave, DeletesLargestFileForClient)
{
    // Its reply is a few bytes below 1 MiB of XML.
    const std::string content = bytes(766000);
    fileWith(state / "files/grande", content);
    EXPECT_EQ(file("grande", true), content);
    EXPECT_FALSE(fs::exists(state / "files/grande"));
}

class PathOutsideTree : public Slave, public ::testing::WithParamInterface<Refused> {};

TEST_P(PathOutsideTree, RefusesPath)
{
    fileWith(folder.path / "secreto", "secret");
    fs::create_symlink(folder.path / "secreto", state / "files/enlace");
    fs::create_symlink(folder.path, state / "files/carpeta");
    fs::create_symlink("version.txt", state / "files/interior");
    ASSERT_EQ(mkfifo((state / "files/tubo").c_str(), 0600), 0);

    EXPECT_EQ(file(GetParam().text, true), "");
    EXPECT_EQ(client.getFault(), GetParam().status);
    EXPECT_TRUE(fs::exists(folder.path / "secreto"));
    EXPECT_TRUE(fs::exists(state / "files/version.txt"));
}

INSTANTIATE_TEST_SUITE_P(
    , PathOutsideTree,
    ::testing::Values(
        Refused{"Nothing", "", badArgument}, Refused{"TheRoot", "/", badArgument},
        Refused{"TheRootOtherwise", ".", badArgument}, Refused{"Upwards", "..", badArgument},
        Refused{"ToTheState", "../state.json", badArgument}, Refused{"FarUpwards", "/../../secreto", badArgument},
        Refused{"DownAndUp", "config/../../state.json", badArgument}, Refused{"AFolder", "config", badArgument},
        Refused{"AFolderForCertain", "config/", badArgument}, Refused{"APipe", "tubo", badArgument},
        Refused{"OfTheHost", "/etc/passwd", notFound}, Refused{"ThroughAFile", "version.txt/x", notFound},
        Refused{"ALinkOutside", "enlace", notFound}, Refused{"ThroughALink", "carpeta/secreto", notFound},
        Refused{"ALinkInside", "interior", notFound}, Refused{"TooLong", std::string(300, 'x'), badArgument}),
    byName);

// Tables -------------------------------------------------------------------------------------------------------

TEST_F(Slave, ReturnsTableAsWritten)
{
    const std::string content = bytes(65535);
    client.wrFicheroTablasSI(-7, 3, block(content), ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    std::vector<char> received;
    client.rdFicheroTablasSI(-7, 3, 0, 0, 0, received, ampleTimeout);
    expectSameBytes(received, content);
    received.clear();
    client.rdFicheroResumen(-7, 3, received, ampleTimeout);
    expectSameBytes(received, content);
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(Slave, KeepsEmptyTable)
{
    client.wrFicheroTablasSI(1, 2, {}, ampleTimeout);
    std::vector<char> received = {'x'};
    client.rdFicheroTablasSI(1, 2, 0, 0, 0, received, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_TRUE(received.empty());
}

TEST_F(Slave, FullDiskLeavesState)
{
    fs::remove_all(state / "tables");
    client.wrFicheroTablasSI(1, 1, {'x'}, ampleTimeout);
    EXPECT_EQ(client.getFault(), storageError);

    fs::create_directory(state / "state.json.new"); // blocks the temporary file of the next write
    int status = -1;
    client.changeFPGASOC(1, status, ampleTimeout);
    EXPECT_EQ(status, storageError);
    unsigned long soc = 0;
    client.getFPGASOC(soc, status, ampleTimeout);
    EXPECT_EQ(soc, 20417U);

    fs::remove(state / "state.json.new");
    client.changeFPGASOC(1, status, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(Slave, RefusesOtherExtensions)
{
    std::vector<char> received;
    for (const auto& [first, second, third] : {std::tuple(1, 0, 0), std::tuple(0, 1, 0), std::tuple(0, 0, 1)}) {
        client.rdFicheroTablasSI(0, 0, first, second, third, received, ampleTimeout);
        EXPECT_EQ(client.getFault(), notFound);
    }
    client.rdFicheroTablasSI(3, 0, 0, 0, 0, received, ampleTimeout);
    EXPECT_EQ(client.getFault(), notFound);
}

TEST_F(Slave, AcceptsLargestBlockOfClient)
{
    const std::string content = bytes(750000);
    client.wrFicheroTablasSI(1, 1, block(content), ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    fs::copy_file(state / "tables/1_1", state / "files/tabla");
    EXPECT_EQ(file("tabla"), content);

    client.configureSAPServer(2, 5, block(content), ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    const std::string document = json();
    EXPECT_NE(document.find(R"("sap":{"bloque":750000,"modo":2,"parametro":5})"), std::string::npos) << document;
}

} // namespace
