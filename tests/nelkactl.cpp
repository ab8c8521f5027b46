// nelkactl as a user types it, against a scripted slave.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nelkanet/version.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/program.h"
#include "support/scriptedslave.h"

using namespace support;

namespace {

using Words = std::vector<std::string>;
using Values = std::vector<std::string>; // of a reply array

std::string contents(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

Words operator+(Words words, const Words& more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

class Nelkactl : public ::testing::Test {
protected:
    ScriptedSlave slave;
    std::filesystem::path folder;

    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "nelkactl.XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
        std::ofstream(block()) << "bloque";
    }

    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string block() const { return folder / "block"; }
    std::string file() const { return folder / "file"; }

    void keep(const std::string& text) const { std::ofstream(file()) << text; }

    /// The program and its words, in which {block} and {file} stand for those files.
    Words command(const Words& words) const
    {
        Words all{NELKACTL};
        for (const std::string& word : words)
            all.push_back(word == "{block}" ? block() : word == "{file}" ? file() : word);
        return all;
    }

    Words environment() const { return {"NELKA_HOST=", "NELKA_PORT=" + std::to_string(slave.port())}; }

    Finished type(const Words& words, const std::optional<std::string>& input = "") const
    {
        return run(command(words), environment(), input);
    }

    Finished answered(const Values& reply, const Words& words)
    {
        slave.play({replyArray(reply)});
        return type(words);
    }
};

// What every operation does --------------------------------------------------------------------------------------

struct Case {
    std::string name;
    Words arguments;

    std::string procedure;
    Words parameters; ///< as they travel

    Values reply;
    std::string json; ///< behind "fault":0
    std::string lines;

    Values refusal;
    int fault; ///< the fault state that comes of it
    std::string refusedJson;

    bool hasShortReply = false;

    Words words() const { return Words{name} + arguments; }
    std::string object(int faultState, const std::string& outputs) const
    {
        return "{\"operation\":\"" + name + "\",\"fault\":" + std::to_string(faultState) + outputs + "}\n";
    }
};

std::ostream& operator<<(std::ostream& out, const Case& one)
{
    return out << one.name;
}

// clang-format off
const std::vector<Case>& cases()
{
    using namespace xml;
    // Each record:
    //   name, arguments,
    //   procedure, parameters on the wire,
    //   reply, JSON, lines,
    //   refusal, fault state, JSON,
    //   whether a short reply leaves outputs untouched
    static const std::vector<Case> all{
        {"sampleadd", {},
         "sample.add", {"i4 10", "i4 5"},
         {i4(15)}, R"(,"resultado":15)", "resultado: 15\n",
         {i4(-3)}, 0, R"(,"resultado":-3)"},

        {"getTable", {"select * from canales"},
         "GetTable", {"string modulo", "string select * from canales"},
         {i4(0), array({array({text("id"), text("nombre")}), array({i4(1), text("La 1\t\\")}), array({i4(2), nil()})})},
         R"(,"columns":["id","nombre"],"rows":[["1","La 1\t\\"],["2",null]])",
         "id\tnombre\n1\tLa 1\\t\\\\\n2\t\\N\n",
         {i4(3), array({array({text("id")}), array({i4(1)})})}, 3, R"(,"columns":["id"],"rows":[["1"]])",
         true},
        {"execQuery", {"delete from canales", "canales"},
         "ExecQuery", {"string modulo", "string canales", "string delete from canales"},
         {i4(0), i4(-17)}, R"(,"resultado":-17)", "resultado: -17\n",
         {i4(3), i4(0)}, 3, R"(,"resultado":0)",
         true},

        {"actualizaIdentificacion", {},
         "ActualizaIdentificacion", {"i4 0"},
         {i4(0), text("uno"), text("dos"), text("tres"), i4(4), text("cinco"), text(""), text("siete")},
         R"(,"campo1":"uno","campo2":"dos","campo3":"tres","campo4":4,"campo5":"cinco","campo6":"","campo7":"siete")",
         "campo1: uno\ncampo2: dos\ncampo3: tres\ncampo4: 4\ncampo5: cinco\ncampo6: \ncampo7: siete\n",
         {i4(3), text("1"), text("2"), text("3"), i4(0), text("5"), text("6"), text("7")}, 3,
         R"(,"campo1":"1","campo2":"2","campo3":"3","campo4":0,"campo5":"5","campo6":"6","campo7":"7")",
         true},
        {"getAlarmasEstadoControlador", {},
         "GetAlarmasEstadoControlador", {"i4 0"},
         {i4(0), text("ninguna")}, R"(,"status":0,"alarmas":"ninguna")", "status: 0\nalarmas: ninguna\n",
         {i4(3), text("todas")}, 3, R"(,"status":3,"alarmas":"todas")",
         true},
        {"checkSincronizado", {"-2147483648"},
         "CheckSincronizado", {"i4 -2147483648"},
         {i4(0)}, R"(,"status":0)", "status: 0\n",
         {i4(3)}, 0, R"(,"status":3)"},
        {"xmlrpc_changes", {},
         "Changes", {"string modulo"},
         {i4(0), i4(17)}, R"(,"changes":17)", "changes: 17\n",
         {i4(3), i4(18)}, 3, R"(,"changes":18)",
         true},

        {"resetModuleToFactorySettings", {"--yes"},
         "ResetFactoryEsclavo", {},
         {i4(0)}, "", "",
         {i4(3)}, 0, ""},
        {"getHoraModulo", {"65535"},
         "RdHora", {"i4 65535"},
         {i4(0), i8(42)}, R"(,"status":0,"hora":42)", "status: 0\nhora: 42\n",
         {i4(3), i8(-1)}, 0, R"(,"status":3,"hora":18446744073709551615)"},
        {"setRefrescoWeb", {"0"},
         "ActualizaRefrescoWeb", {"i4 0"},
         {i4(0)}, R"(,"status":0)", "status: 0\n",
         {i4(3)}, 0, R"(,"status":3)"},
        {"updateNTP", {},
         "UpdateNTP", {},
         {i4(0)}, "", "",
         {i4(3)}, 3, ""},
        {"ejecutar_script", {"limpia.sh"},
         "EjecutarScript", {"string limpia.sh"},
         {i4(0)}, "", "",
         {i4(3)}, 3, ""},

        {"sintonizarCanalTerr",
         {"-9", "true", "--frecuencia", "4294967295", "--parametroTerr", "65535", "--parametroComun", "5"},
         "SintonizarCanalTerr", {"i4 -1", "i4 65535", "i4 -9", "i4 5", "boolean 1"},
         {i4(0)}, R"(,"status":0)", "status: 0\n",
         {i4(3)}, 3, R"(,"status":3)"},
        {"sintonizarCanalSat",
         {"9", "0", "8", "--frecuenciaIntermedia", "1500000", "--parametroSat=-2", "--parametroComun", "5",
          "--parametroSat2", "65535", "--parametroSat3", "6", "--parametroSat4", "7"},
         "SintonizarCanalSat",
         {"i4 1500000", "i4 -2", "i4 9", "i4 5", "i4 65535", "i4 6", "i4 7", "i4 8", "boolean 0"},
         {i4(0)}, R"(,"status":0)", "status: 0\n",
         {i4(3)}, 3, R"(,"status":3)"},

        {"initInputScan", {"1", "2", "255"},
         "InitInputScan", {"i4 1", "i4 2", "i4 255"},
         {i4(7)}, R"(,"status":7)", "status: 7\n",
         {i4(-2)}, -2, R"(,"status":-2)"},
        {"statusInputScan", {"1", "7"},
         "StatusInputScan", {"i4 1", "i4 7"},
         {i4(50)}, R"(,"status":50)", "status: 50\n",
         {i4(-2)}, -2, R"(,"status":-2)"},
        {"getScanReport", {"1", "7"},
         "getScanReport", {"i4 1", "i4 7"},
         {i4(0), text("tres canales")}, R"(,"status":0,"report":"tres canales")", "status: 0\nreport: tres canales\n",
         {i4(-2), text("")}, -2, R"(,"status":-2,"report":"")"},
        {"cancelInputScan", {"1"},
         "CancelInputScan", {"i4 1"},
         {i4(0)}, "", "",
         {i4(3)}, 3, ""},

        {"getFPGASOC", {},
         "get_FPGA_SOC", {},
         {i4(7), i4(0)}, R"(,"status":0,"soc":7)", "status: 0\nsoc: 7\n",
         {i4(8), i4(3)}, 3, R"(,"status":3,"soc":8)"},
        {"changeFPGASOC", {"3000000000"},
         "Change_FPGA_SOC", {"i4 -1294967296"},
         {i4(0)}, R"(,"status":0)", "status: 0\n",
         {i4(3)}, 3, R"(,"status":3)"},
        {"generarJSONWeb", {"-1"},
         "Generate_JSON_WEB", {"i4 -1"},
         {i4(0), text(R"({"a":1})")}, R"(,"json":"{\"a\":1}")", "json: {\"a\":1}\n",
         {i4(3), text("x")}, 3, R"(,"json":"x")",
         true},

        {"RdFicheroEsclavo", {"/var/log/x", "1", "--output", "{file}"},
         "RecibirArchivo", {"string /var/log/x", "i4 1"},
         {i4(0), base64("bytes")}, R"(,"bytes":5)", "bytes: 5\n",
         {i4(3), base64("")}, 3, R"(,"bytes":0)",
         true},

        {"wrFicheroTablasSI", {"1", "2", "--input", "{block}"},
         "wrFicheroTablasSI", {"i4 1", "i4 2", "base64 bloque"},
         {i4(0)}, "", "",
         {i4(3)}, 3, ""},
        {"configureSAPServer", {"1", "2", "--input", "{block}"},
         "configureSAP", {"i4 1", "i4 2", "base64 bloque"},
         {i4(0)}, "", "",
         {i4(3)}, 3, ""},
        {"rdFicheroTablasSI", {"1", "2", "3", "4", "5", "--output", "{file}"},
         "RdFicheroTablasSI", {"i4 1", "i4 2", "i4 3", "i4 4", "i4 5"},
         {i4(0), base64("tabla")}, R"(,"bytes":5)", "bytes: 5\n",
         {i4(3), base64("t")}, 3, R"(,"bytes":1)",
         true},
        {"rdFicheroResumen", {"1", "2", "--output", "{file}"},
         "RdFicheroResumen", {"i4 1", "i4 2"},
         {i4(0), base64(std::string(65'537, 'r'))}, R"(,"bytes":1)", "bytes: 1\n",
         {i4(3), base64("r")}, 3, R"(,"bytes":1)",
         true},
    };
    return all;
}
// clang-format on

class EveryOperation : public Nelkactl, public ::testing::WithParamInterface<Case> {
protected:
    const Case& one = GetParam();

    void expectFault(const Finished& finished, int status, int fault)
    {
        EXPECT_EQ(finished.status, status) << finished;
        EXPECT_EQ(finished.out, one.object(fault, ""));
        EXPECT_TRUE(finished.lastWords().starts_with("nelkactl: " + one.name + " at 127.0.0.1 port ")) << finished;
        EXPECT_FALSE(std::filesystem::exists(file()));
    }
};

TEST_P(EveryOperation, CallsItsProcedureWithItsArguments)
{
    const Finished finished = answered(one.reply, one.words());
    EXPECT_EQ(finished.status, 0) << finished;
    const std::vector<xml::Request> calls = slave.calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].method, one.procedure);
    EXPECT_EQ(calls[0].parameters, one.parameters);
}

TEST_P(EveryOperation, WritesALineForEachOutput)
{
    const Finished finished = answered(one.reply, one.words());
    EXPECT_EQ(finished.out, one.lines);
    EXPECT_EQ(finished.err, "");
}

TEST_P(EveryOperation, WritesAnObjectWithTheOutputsInTheirOrder)
{
    const Finished finished = answered(one.reply, one.words() + Words{"--json"});
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(finished.out, one.object(0, one.json));
    EXPECT_EQ(finished.err, "");
}

TEST_P(EveryOperation, EndsWithOneWhenTheSlaveRefusesAndDeliversWhatCame)
{
    const Finished finished = answered(one.refusal, Words{"--json"} + one.words());
    EXPECT_EQ(finished.status, one.fault == 0 ? 0 : 1) << finished;
    EXPECT_EQ(finished.out, one.object(one.fault, one.refusedJson));
    if (one.fault != 0) {
        EXPECT_EQ(finished.lastWords(), "nelkactl: " + one.name + " at 127.0.0.1 port " + std::to_string(slave.port())
                                            + ": slave's status: " + std::to_string(one.fault));
    }
}

TEST_P(EveryOperation, LeavesOutWhatAShortReplyLeavesUntouched)
{
    if (!one.hasShortReply)
        GTEST_SKIP() << "has no short reply";
    const std::string status = one.name == "getAlarmasEstadoControlador" ? R"(,"status":0)" : "";
    const Finished finished = answered({xml::i4(0)}, Words{"--json"} + one.words());
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(finished.out, one.object(0, status));
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_P(EveryOperation, EndsWithThreeWhenNobodyListens)
{
    const Finished finished = type(one.words() + Words{"--json", "-p", std::to_string(closedPort())});
    expectFault(finished, 3, -504);
    EXPECT_NE(finished.lastWords().find(": transport fault: "), std::string::npos) << finished;
}

TEST_P(EveryOperation, EndsWithThreeWhenTheReplyIsOfAnotherShape)
{
    Values reply = one.reply;
    reply.back() = xml::structure({});
    const Finished finished = answered(reply, one.words() + Words{"--json"});
    expectFault(finished, 3, -501);
    EXPECT_NE(finished.lastWords().find(": bad reply: "), std::string::npos) << finished;
}

TEST_P(EveryOperation, EndsWithFourWhenTheTimeoutPasses)
{
    slave.play({silence()});
    const Finished finished = type(one.words() + Words{"--json", "-t", "50"});
    expectFault(finished, 4, -505);
    EXPECT_NE(finished.lastWords().find(": time-out: no answer within 50 ms"), std::string::npos) << finished;
}

TEST_P(EveryOperation, EndsWithFiveWhenItIsInterrupted)
{
    slave.play({silence()});
    Program program(command(one.words() + Words{"--json", "-t", "30000"}), environment());
    slave.awaitRequests(1);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    expectFault(finished, 5, -505);
    EXPECT_NE(finished.lastWords().find(": interruption: SIGINT"), std::string::npos) << finished;
}

TEST_P(EveryOperation, ExplainsItself)
{
    const Finished finished = type({one.name, "--help"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_TRUE(finished.out.starts_with("Usage: nelkactl [OPTION...] " + one.name)) << finished;
    std::istringstream lines(finished.out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80U) << line;
    EXPECT_TRUE(slave.requests().empty());
}

INSTANTIATE_TEST_SUITE_P(Nelkactl, EveryOperation, ::testing::ValuesIn(cases()),
                         [](const auto& instance) { return instance.param.name; });

// The odd ones ---------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, CannotDeleteAFileAndSaysWhatToDoInstead)
{
    const Finished finished = type({"DlFicheroEsclavo", "/tmp/x", "--json"});
    EXPECT_EQ(finished.status, 3);
    EXPECT_EQ(finished.out, "{\"operation\":\"DlFicheroEsclavo\",\"fault\":-500}\n");
    EXPECT_NE(type({"DlFicheroEsclavo", "--help"}).out.find("nelkactl RdFicheroEsclavo RUTA 1 --output FILE"),
              std::string::npos);
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, AsksThisMachineForItsAddresses)
{
    // Whether there is an eth0 is the machine's business.
    const Finished ip = type({"getLocalIp", "--json"});
    EXPECT_EQ(ip.status, 0) << ip;
    EXPECT_TRUE(ip.out.starts_with(R"({"operation":"getLocalIp","fault":0,"ip":")")) << ip;
    const Finished mac = type({"getLocalMac", "--json"});
    EXPECT_EQ(mac.status, 0) << mac;
    EXPECT_EQ(mac.out.find(R"("mac":")") != std::string::npos, std::filesystem::exists("/sys/class/net/eth0")) << mac;
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, TellsAnEmptyTableFromNone)
{
    EXPECT_EQ(answered({xml::i4(0), xml::array({})}, {"getTable", "q", "--json"}).out,
              "{\"operation\":\"getTable\",\"fault\":0,\"columns\":[],\"rows\":[]}\n");
    EXPECT_EQ(answered({xml::i4(0)}, {"getTable", "q", "--json"}).out, "{\"operation\":\"getTable\",\"fault\":0}\n");
}

TEST_F(Nelkactl, EndsWithThreeWhenRowsAreNoTable)
{
    const Finished finished =
        answered({xml::i4(0), xml::array({xml::array({xml::text("a")}), xml::array({})})}, {"getTable", "q", "--json"});
    EXPECT_EQ(finished.status, 3) << finished;
    EXPECT_EQ(finished.out, "{\"operation\":\"getTable\",\"fault\":-502}\n");
    EXPECT_NE(finished.lastWords().find(": bad reply: "), std::string::npos) << finished;
}

TEST_F(Nelkactl, TellsAFaultResponseFromAStatusByWhereItCameFrom)
{
    slave.play({replyFault(3, "no puedo")});
    const Finished fault = type({"updateNTP"});
    EXPECT_EQ(fault.status, 3);
    EXPECT_NE(fault.lastWords().find(": fault response: "), std::string::npos) << fault;
    EXPECT_NE(fault.lastWords().find("no puedo"), std::string::npos) << fault;
    EXPECT_EQ(answered({xml::i4(3)}, {"updateNTP"}).status, 1);
}

TEST_F(Nelkactl, TellsATimeoutFromASlaveThatAnswersWithItsNumber)
{
    EXPECT_EQ(answered({xml::i4(-505)}, {"updateNTP"}).status, 1);
    slave.play({replyFault(-505, "mine")});
    EXPECT_EQ(type({"updateNTP"}).status, 3);
}

TEST_F(Nelkactl, TakesAStatusOfAFaultCodeForAStatus)
{
    EXPECT_EQ(answered({xml::i4(-504)}, {"updateNTP"}).status, 1);
}

TEST_F(Nelkactl, ReplacesBytesThatAreNoUtf8)
{
    const Values rows{xml::i4(0), xml::array({xml::array({xml::text("a")}), xml::array({xml::base64("x\xffy")})})};
    EXPECT_EQ(answered(rows, {"getTable", "q", "--json"}).out,
              "{\"operation\":\"getTable\",\"fault\":0,\"columns\":[\"a\"],\"rows\":[[\"x\xef\xbf\xbdy\"]]}\n");
}

TEST_F(Nelkactl, NamesTheDatabaseItIsGiven)
{
    answered({xml::i4(0), xml::i4(1)}, {"-d", "otra", "xmlrpc_changes"});
    EXPECT_EQ(slave.calls().at(0).parameters, (Words{"string otra"}));
}

// The command line -------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, TakesOptionsBeforeAndAfterTheOperation)
{
    for (const Words& words : {Words{"--json", "checkSincronizado", "1"}, Words{"checkSincronizado", "--json", "1"},
                               Words{"checkSincronizado", "1", "--json"}, Words{"--", "checkSincronizado", "1"}}) {
        const Finished finished = answered({xml::i4(0)}, words);
        EXPECT_EQ(finished.status, 0) << finished;
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"i4 1"}));
    }
}

TEST_F(Nelkactl, TakesTextsAsTheyAreTyped)
{
    for (const std::string text : {"[a,b]", "", "-1", "a=b", "{}", "\\n", "%s", "a b", "-"}) {
        answered({xml::i4(0)}, {"ejecutar_script", text});
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"string " + text}));
    }
}

TEST_F(Nelkactl, TakesTextsThatLookLikeOptionsBehindTwoDashes)
{
    for (const std::string text : {"--json", "-x", "--", "--help"}) {
        answered({xml::i4(0)}, {"ejecutar_script", "--", text});
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"string " + text}));
    }
    EXPECT_EQ(type({"ejecutar_script", "-x"}).status, 2);
}

TEST_F(Nelkactl, GoesWhereTheEnvironmentSaysUnlessOptionsSayOtherwise)
{
    slave.play({replyArray({xml::i4(15)})});
    const std::string port = std::to_string(slave.port());
    const std::string closed = std::to_string(closedPort());
    EXPECT_EQ(run({NELKACTL, "sampleadd"}, {"NELKA_HOST=127.0.0.1", "NELKA_PORT=" + port}).status, 0);
    EXPECT_EQ(run({NELKACTL, "sampleadd", "-p", port}, {"NELKA_HOST=127.0.0.1", "NELKA_PORT=" + closed}).status, 0);
    EXPECT_EQ(run({NELKACTL, "sampleadd", "-H", "127.0.0.1"}, {"NELKA_HOST=::1", "NELKA_PORT=" + port}).status, 0);
    EXPECT_EQ(run({NELKACTL, "sampleadd", "-p", port}, {"NELKA_HOST=", "NELKA_PORT=none"}).status, 0);
    EXPECT_EQ(run({NELKACTL, "sampleadd"}, {"NELKA_HOST=", "NELKA_PORT=none"}).status, 2);
}

TEST_F(Nelkactl, PutsAnIpv6AddressInBrackets)
{
    const std::string port = std::to_string(closedPort());
    for (const std::string host : {"::1", "[::1]"}) {
        const Finished finished = type({"-v", "-H", host, "-p", port, "sampleadd"});
        EXPECT_NE(finished.err.find("nelkactl: Server URL: http://[::1]:" + port + "/RPC2\n"), std::string::npos)
            << finished;
        EXPECT_EQ(finished.status, 3);
    }
}

TEST_F(Nelkactl, RefusesACommandLineThatMeansNothing)
{
    const std::vector<Words> wrong{
        {},
        {"nosuch"},
        {"SAMPLEADD"},
        {"sampleadd", "1"},
        {"--nosuch", "sampleadd"},
        {"sampleadd", "-H"},
        {"sampleadd", "-H", ""},
        {"sampleadd", "-p", "0"},
        {"sampleadd", "-p", "65536"},
        {"sampleadd", "-p", "-1"},
        {"sampleadd", "-p", "8080x"},
        {"sampleadd", "-t", "65536"},
        {"sampleadd", "-t", "-1"},
        {"sampleadd", "-t", "0x10"},
        {"sampleadd", "-t", ""},
        {"sampleadd", "--yes"},
        {"getHoraModulo"},
        {"getHoraModulo", "65536"},
        {"getHoraModulo", "-1"},
        {"getHoraModulo", "1.5"},
        {"getHoraModulo", "0x1"},
        {"getHoraModulo", " 1"},
        {"getHoraModulo", "+1"},
        {"getHoraModulo", "1", "2"},
        {"setRefrescoWeb", "70000"},
        {"checkSincronizado", "2147483648"},
        {"checkSincronizado", "-2147483649"},
        {"checkSincronizado", "99999999999999999999"},
        {"initInputScan", "1", "2", "256"},
        {"initInputScan", "1", "2", "-1"},
        {"changeFPGASOC", "-1"},
        {"changeFPGASOC", "18446744073709551616"},
        {"sintonizarCanalTerr", "1", "2"},
        {"sintonizarCanalTerr", "1", "yes"},
        {"sintonizarCanalTerr", "1", "1", "--frecuencia", "4294967296"},
        {"sintonizarCanalTerr", "1", "1", "--frecuencia", "-1"},
        {"sintonizarCanalTerr", "1", "1", "--frecuencia="},
        {"sintonizarCanalTerr", "1", "1", "--parametroTerr", "65536"},
        {"sintonizarCanalSat", "1", "1", "1", "--parametroSat", "2147483648"},
        {"resetModuleToFactorySettings"},
        {"scan", "1", "2", "3", "--interval", "0"},
        {"scan", "1", "2", "3", "--until", "-1"},
        {"statusInputScan", "1", "2", "--until", "5"},
        {"RdFicheroEsclavo", "x", "0"},
        {"RdFicheroEsclavo", "x", "0", "--output", "-", "--json"},
        {"wrFicheroTablasSI", "1", "2"},
        {"wrFicheroTablasSI", "1", "2", "--output", "{file}"},
    };
    for (const Words& words : wrong) {
        const Finished finished = type(words);
        const std::string typed = ::testing::PrintToString(words);
        EXPECT_EQ(finished.status, 2) << typed;
        EXPECT_EQ(finished.out, "") << typed;
        EXPECT_NE(finished.lastWords().find("usage: "), std::string::npos) << typed << "\n" << finished;
    }
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, NamesTheOperationTheHostAndThePortOfAUsageError)
{
    EXPECT_EQ(
        type({"getHoraModulo", "65536", "-H", "module3", "-p", "81"}).err,
        "nelkactl: getHoraModulo at module3 port 81: usage: N is an integer, 0 to 65535, not '65536' (see nelkactl "
        "--help)\n");
}

// What is told -----------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, HelpFitsAScreenAndNamesTheExitStatuses)
{
    const Finished finished = type({"--help"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_LE(std::count(finished.out.begin(), finished.out.end(), '\n'), 24);
    std::istringstream lines(finished.out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80U) << line;
    for (const char* status : {"0 done", "1 the slave", "2 usage", "3 transport", "4 time-out", "5 interrupted"})
        EXPECT_NE(finished.out.find(status), std::string::npos) << status;
}

// The operations that --help names.
Words namesIn(const std::string& help)
{
    const std::size_t start = help.find("Operations:\n") + std::string("Operations:\n").size();
    std::istringstream names(help.substr(start, help.find("Exit status:") - start));
    Words all;
    for (std::string name; names >> name;)
        all.push_back(name);
    return all;
}

TEST_F(Nelkactl, KnowsEveryOperation)
{
    Words expected;
    for (const Case& one : cases())
        expected.push_back(one.name);
    expected.insert(expected.begin() + 1, {"getLocalIp", "getLocalMac"});
    const auto after = [&expected](const std::string& name) {
        return std::find(expected.begin(), expected.end(), name) + 1;
    };
    expected.insert(after("cancelInputScan"), "scan");
    expected.insert(after("generarJSONWeb"), "DlFicheroEsclavo");
    EXPECT_EQ(namesIn(type({"--help"}).out), expected);
}

TEST_F(Nelkactl, ManPageAndCompletionNameEveryOperationAndOption)
{
    const std::string help = type({"--help"}).out;
    Words names = namesIn(help);
    std::set<std::string> options{"--json", "--trace", "--help", "--version", "-H", "-p", "-t", "-d", "-v"};
    for (const std::string& name : names) {
        std::istringstream words(type({name, "--help"}).out);
        for (std::string word; words >> word;)
            if (word.starts_with("--"))
                options.insert(word);
    }
    std::string page = contents(MAN_PAGE);
    page.erase(std::remove(page.begin(), page.end(), '\\'), page.end());
    const std::string completion = contents(COMPLETION);
    names.insert(names.end(), options.begin(), options.end());
    for (const std::string& name : names) {
        EXPECT_NE(page.find(name), std::string::npos) << name;
        EXPECT_NE(completion.find(name), std::string::npos) << name;
    }
}

TEST_F(Nelkactl, CompletesOperationsAndTheirOptions)
{
    const auto completed = [](const std::string& words, const std::string& index) {
        const Finished finished = run({"/bin/bash", "-c",
                                       "source " COMPLETION "; COMP_WORDS=(" + words + "); COMP_CWORD=" + index
                                           + "; _nelkactl; printf '%s ' \"${COMPREPLY[@]}\""});
        EXPECT_EQ(finished.err, "");
        return finished.out;
    };
    EXPECT_EQ(completed("nelkactl sinto", "1"), "sintonizarCanalTerr sintonizarCanalSat ");
    EXPECT_EQ(completed("nelkactl -p 1 --json scan 1 --", "6"), "--json --trace --help --version --interval --until ");
    EXPECT_EQ(completed("nelkactl rdFicheroResumen --o", "2"), "--output ");
    EXPECT_EQ(completed("nelkactl sampleadd --o", "2"), " ");
}

TEST_F(Nelkactl, SaysItsVersion)
{
    EXPECT_EQ(type({"--version"}).out, "nelkactl " NELKANET_VERSION "\n");
}

TEST_F(Nelkactl, WritesTheErrorLinesOfTheLibraryAndItsOwnLast)
{
    const Finished finished = answered({xml::i4(3)}, {"updateNTP"});
    EXPECT_TRUE(finished.err.starts_with("nelkactl: Error recibido desde el esclavo: mensaje : updateNTP, error : 3\n"
                                         "nelkactl: Error in file src/xmlrpclient.cpp, line "))
        << finished;
    EXPECT_EQ(std::count(finished.err.begin(), finished.err.end(), '\n'), 3) << finished;
}

TEST_F(Nelkactl, WritesAllLinesOfTheLibraryWhenAsked)
{
    const Finished finished = answered({xml::i4(0)}, {"updateNTP", "-v"});
    EXPECT_EQ(finished.err, "nelkactl: Server URL: http://127.0.0.1:" + std::to_string(slave.port())
                                + "/RPC2\n"
                                  "nelkactl: XMLRPC_XML_SIZE_LIMIT_DEFAULT: 1048576\n"
                                  "nelkactl: updateNTP\n"
                                  "nelkactl: INICIO ALARMA 5000\n"
                                  "nelkactl: INICIO ALARMA 0\n");
    EXPECT_EQ(finished.out, "");
}

TEST_F(Nelkactl, ShowsTheXmlThatTravelsOnStandardError)
{
    const Finished finished = answered({xml::i4(15)}, {"sampleadd", "--trace"});
    EXPECT_EQ(finished.out, "resultado: 15\n");
    EXPECT_NE(finished.err.find("<methodName>sample.add</methodName>"), std::string::npos) << finished;
    EXPECT_NE(finished.err.find("<methodResponse>"), std::string::npos) << finished;
}

TEST_F(Nelkactl, EndsWithTwoWhenItsResultCannotBeWritten)
{
    slave.play({replyArray({xml::i4(15)})});
    const Finished full = run({"/bin/sh", "-c", NELKACTL " sampleadd > /dev/full"}, environment());
    EXPECT_EQ(full.status, 2) << full;
    EXPECT_NE(full.lastWords().find(": file: cannot write standard output: "), std::string::npos) << full;
    const Finished closed = run({"/bin/sh", "-c", NELKACTL " sampleadd >&-"}, environment());
    EXPECT_EQ(closed.status, 2) << closed;
}

// Files ------------------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, ReplacesTheFileInOneStep)
{
    keep("former");
    chmod(file().c_str(), 0640);
    struct stat before = {};
    struct stat after = {};
    stat(file().c_str(), &before);
    EXPECT_EQ(
        answered({xml::i4(0), xml::base64(std::string("a\0b", 3))}, {"RdFicheroEsclavo", "x", "0", "--output", file()})
            .out,
        "bytes: 3\n");
    stat(file().c_str(), &after);
    EXPECT_EQ(contents(file()), std::string("a\0b", 3));
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(after.st_mode & 0777, 0640U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2) << "block and file";
}

TEST_F(Nelkactl, LeavesTheFileUntouchedWhenNoBlockComes)
{
    keep("former");
    const Words words{"rdFicheroTablasSI", "1", "2", "3", "4", "5", "--output", file()};
    EXPECT_EQ(answered({xml::i4(0)}, words).status, 0);
    EXPECT_EQ(answered({xml::i4(3)}, words).status, 1);
    EXPECT_EQ(answered({xml::i4(0), xml::text("x")}, words).status, 3);
    EXPECT_EQ(type(words + Words{"-p", std::to_string(closedPort())}).status, 3);
    slave.play({silence()});
    EXPECT_EQ(type(words + Words{"-t", "50"}).status, 4);
    EXPECT_EQ(contents(file()), "former");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2) << "block and file";
}

TEST_F(Nelkactl, WritesABlockThatCameWithAnErrorStatus)
{
    keep("former");
    const Finished finished =
        answered({xml::i4(3), xml::base64("")}, {"rdFicheroResumen", "1", "2", "--output", file()});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(contents(file()), "");
}

TEST_F(Nelkactl, FollowsALinkToTheFileItReplaces)
{
    keep("former");
    const std::filesystem::path link = folder / "link";
    std::filesystem::create_symlink("file", link);
    answered({xml::i4(0), xml::base64("new")}, {"RdFicheroEsclavo", "x", "0", "--output", link});
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(contents(file()), "new");
}

TEST_F(Nelkactl, WritesToADeviceWithoutReplacingIt)
{
    const std::filesystem::path pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    Program reader({"/bin/cat", pipe});
    EXPECT_EQ(answered({xml::i4(0), xml::base64("bytes")}, {"RdFicheroEsclavo", "x", "0", "--output", pipe}).status, 0);
    EXPECT_EQ(reader.finish().out, "bytes");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
}

TEST_F(Nelkactl, WritesABlockToStandardOutputAlone)
{
    const Finished finished = answered({xml::i4(0), xml::base64(std::string("\0\xff\n", 3))},
                                       {"RdFicheroEsclavo", "x", "0", "--output", "-"});
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(finished.out, std::string("\0\xff\n", 3));
}

TEST_F(Nelkactl, SendsABlockFromStandardInput)
{
    slave.play({replyArray({xml::i4(0)})});
    EXPECT_EQ(type({"configureSAPServer", "1", "2", "--input", "-"}, std::string("a\0b", 3)).status, 0);
    EXPECT_EQ(slave.calls().at(0).parameters.at(2), "base64 " + std::string("a\0b", 3));
}

TEST_F(Nelkactl, EndsWithTwoBeforeItCallsWhenAFileCannotBeUsed)
{
    const std::string nowhere = folder / "nowhere" / "file";
    for (const Words& words : {Words{"wrFicheroTablasSI", "1", "2", "--input", nowhere},
                               Words{"wrFicheroTablasSI", "1", "2", "--input", folder},
                               Words{"RdFicheroEsclavo", "x", "1", "--output", nowhere},
                               Words{"RdFicheroEsclavo", "x", "1", "--output", folder},
                               Words{"RdFicheroEsclavo", "x", "1", "--output", ""}}) {
        const Finished finished = type(words);
        EXPECT_EQ(finished.status, 2) << finished;
        EXPECT_EQ(finished.out, "");
        EXPECT_NE(finished.lastWords().find(": file: cannot "), std::string::npos) << finished;
    }
    EXPECT_TRUE(slave.requests().empty());
}

// Interruption -----------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, EndsWithFiveWhenItIsInterruptedWhileItReads)
{
    Program program(command({"wrFicheroTablasSI", "1", "2", "--input", "-"}), environment(), std::nullopt);
    // It catches signals by the time it reads.
    const std::string status = "/proc/" + std::to_string(program.pid()) + "/status";
    while (contents(status).find("SigCgt:\t0000000000000000") != std::string::npos)
        usleep(1000);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_NE(finished.lastWords().find(": interruption: SIGINT"), std::string::npos) << finished;
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, KnowsAnInterruptionFromATimeoutThatFollows)
{
    slave.play({silence()});
    Program program(command({"sampleadd", "-t", "1000"}), environment());
    slave.awaitRequests(1);
    program.signal(SIGINT);
    EXPECT_EQ(program.finish().status, 5);
}

// A whole scan -----------------------------------------------------------------------------------------------------

class Scan : public Nelkactl {
protected:
    const Words words{"scan", "1", "2", "3", "--interval", "10", "--json"};

    Words procedures() const
    {
        Words all;
        for (const xml::Request& call : slave.calls())
            all.push_back(call.method);
        return all;
    }
};

TEST_F(Scan, StartsPollsAndReports)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(0)}), replyArray({xml::i4(99)}),
                replyArray({xml::i4(101)}), replyArray({xml::i4(0), xml::text("tres canales")})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(finished.out,
              "{\"operation\":\"scan\",\"fault\":0,\"idScan\":7,\"status\":101,\"report\":\"tres canales\"}\n");
    EXPECT_EQ(finished.err, "") << "no progress bar without a terminal";
    EXPECT_EQ(procedures(),
              (Words{"InitInputScan", "StatusInputScan", "StatusInputScan", "StatusInputScan", "getScanReport"}));
    EXPECT_EQ(slave.calls()[0].parameters, (Words{"i4 1", "i4 2", "i4 3"}));
    EXPECT_EQ(slave.calls()[1].parameters, (Words{"i4 1", "i4 7"}));
    EXPECT_EQ(slave.calls()[4].parameters, (Words{"i4 1", "i4 7"}));
}

TEST_F(Scan, IsDoneAtTheStatusAskedFor)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(5)}), replyArray({xml::i4(0), xml::text("r")})});
    EXPECT_EQ(type(words + Words{"--until", "5"}).status, 0);
    EXPECT_EQ(procedures().size(), 3U);
}

TEST_F(Scan, ThatIsRefusedEndsWithOne)
{
    slave.play({replyArray({xml::i4(-2)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 1) << finished;
    EXPECT_EQ(finished.out, "{\"operation\":\"scan\",\"fault\":-2}\n");
}

TEST_F(Scan, EndsWithOneAtANegativeStatus)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(50)}), replyArray({xml::i4(-3)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 1) << finished;
    EXPECT_EQ(finished.out, "{\"operation\":\"scan\",\"fault\":-3,\"idScan\":7,\"status\":-3}\n");
    EXPECT_EQ(procedures(), (Words{"InitInputScan", "StatusInputScan", "StatusInputScan"}));
}

TEST_F(Scan, ThatTakesTooLongToAnswerEndsWithFour)
{
    slave.play({replyArray({xml::i4(7)}), silence()});
    const Finished finished = type(words + Words{"-t", "50"});
    EXPECT_EQ(finished.status, 4) << finished;
    EXPECT_EQ(finished.out, "{\"operation\":\"scan\",\"fault\":-505}\n");
}

TEST_F(Scan, WhoseReportIsNoTextEndsWithThree)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(100)}), replyArray({xml::i4(0)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 3) << finished;
    EXPECT_EQ(finished.out, "{\"operation\":\"scan\",\"fault\":-502}\n");
}

TEST_F(Scan, ThatIsInterruptedInACallIsCancelledOnTheSlave)
{
    slave.play({replyArray({xml::i4(7)}), silence(), replyArray({xml::i4(0)})});
    Program program(command(words), environment());
    slave.awaitRequests(2);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_EQ(finished.out, "{\"operation\":\"scan\",\"fault\":-505}\n");
    EXPECT_NE(finished.lastWords().find(": interruption: SIGINT, the scan is cancelled"), std::string::npos)
        << finished;
    EXPECT_EQ(procedures(), (Words{"InitInputScan", "StatusInputScan", "CancelInputScan"}));
    EXPECT_EQ(slave.calls().at(2).parameters, (Words{"i4 1"}));
}

TEST_F(Scan, ThatIsInterruptedBetweenCallsIsCancelledOnTheSlave)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(0)})});
    Program program(command({"scan", "1", "2", "3", "--interval", "60000"}), environment());
    slave.awaitRequests(2);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_EQ(procedures().back(), "CancelInputScan");
}

TEST_F(Scan, ThatCannotBeCancelledSaysSo)
{
    slave.play({replyArray({xml::i4(7)}), silence(), replyArray({xml::i4(4)})});
    Program program(command(words), environment());
    slave.awaitRequests(2);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_NE(finished.lastWords().find("the scan could not be cancelled: slave's status: 4"), std::string::npos)
        << finished;
}

// Of a terminal, and of many slaves: scripts that say what they expect -----------------------------------------------

class Script : public ::testing::TestWithParam<const char*> {};

TEST_P(Script, Succeeds)
{
    const Finished finished = run({"/usr/bin/python3", SCRIPT, NELKACTL, GetParam()});
    EXPECT_EQ(finished.status, 0) << finished;
}

INSTANTIATE_TEST_SUITE_P(Nelkactl, Script,
                         ::testing::Values("a_terminal_sees_a_progress_bar_that_goes_away",
                                           "no_terminal_sees_no_progress_bar",
                                           "the_log_takes_the_place_of_the_progress_bar",
                                           "an_interrupt_key_cancels_the_scan", "fifty_slaves_answer_in_whole_lines",
                                           "long_lines_of_many_processes_stay_whole"),
                         [](const auto& instance) { return std::string(instance.param); });

} // namespace
