// nelkactl: every operation, and the quirks of some.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "nelkactl.h"

using namespace support;

namespace {

// Every operation ------------------------------------------------------------------------------------------------

struct Case {
    std::string name;
    Words arguments;

    std::string procedure;
    Words parameters; ///< on the wire

    Values reply;
    std::string json; ///< after "fault":0
    std::string lines;

    Values refusal;
    int fault; ///< the resulting fault state
    std::string refusedJson;

    bool hasShortReply = false;

    Words words() const { return Words{name} + arguments; }
    std::string object(const std::string& ending, int faultState, const std::string& outputs = "") const
    {
        return "{\"operation\":\"" + name + "\",\"ending\":\"" + ending + "\",\"fault\":" + std::to_string(faultState)
               + outputs + "}";
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

        {"RdFicheroEsclavo", {"/var/log/x", "0", "--output", "{file}"},
         "RecibirArchivo", {"string /var/log/x", "i4 0"},
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

    void expectFault(const Finished& finished, int status, const std::string& ending, int fault)
    {
        EXPECT_EQ(finished.status, status) << finished;
        EXPECT_EQ(essence(finished.out), one.object(ending, fault));
        EXPECT_TRUE(finished.err.starts_with("nelkactl: " + one.name + " at 127.0.0.1 port ")) << finished;
        EXPECT_NE(finished.err.find(": " + ending + ": "), std::string::npos) << finished;
        EXPECT_EQ(std::count(finished.err.begin(), finished.err.end(), '\n'), 1) << finished;
        EXPECT_FALSE(std::filesystem::exists(file()));
    }
};

TEST_P(EveryOperation, CallsProcedureAndWritesOneLinePerOutput)
{
    const Finished finished = answered(one.reply, one.words());
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(finished.out, one.lines);
    EXPECT_EQ(finished.err, "");
    const std::vector<xml::Request> calls = slave.calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].method, one.procedure);
    EXPECT_EQ(calls[0].parameters, one.parameters);
}

TEST_P(EveryOperation, WritesObjectWithOutputsInOrder)
{
    const Finished finished = answered(one.reply, one.words() + Words{"--json"});
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(essence(finished.out), one.object("done", 0, one.json));
    EXPECT_EQ(finished.err, "");
}

TEST_P(EveryOperation, RefusalEndsWithOneAndDeliversOutputs)
{
    const Finished finished = answered(one.refusal, Words{"--json"} + one.words());
    EXPECT_EQ(finished.status, one.fault == 0 ? 0 : 1) << finished;
    EXPECT_EQ(essence(finished.out), one.object(one.fault == 0 ? "done" : "refused", one.fault, one.refusedJson));
    EXPECT_EQ(finished.err, one.fault == 0
                                ? ""
                                : "nelkactl: " + one.name + " at 127.0.0.1 port " + std::to_string(slave.port())
                                      + ": refused: the slave's status is " + std::to_string(one.fault) + "\n");
}

TEST_P(EveryOperation, ClosedPortEndsWithThree)
{
    const Finished finished = type(one.words() + Words{"--json", "-p", std::to_string(ClosedPort().port())});
    expectFault(finished, 3, "faulted", -504);
    EXPECT_NE(finished.err.find(": nobody listens there ("), std::string::npos) << finished;
}

TEST_P(EveryOperation, WrongShapeEndsWithThree)
{
    Values reply = one.reply;
    reply.back() = xml::structure({});
    const Finished finished = answered(reply, one.words() + Words{"--json"});
    expectFault(finished, 3, "faulted", -501);
    EXPECT_NE(finished.err.find(": the reply does not have the shape of " + one.name + " ("), std::string::npos)
        << finished;
}

TEST_P(EveryOperation, TimeoutEndsWithFour)
{
    slave.play({silence()});
    const Finished finished = type(one.words() + Words{"--json", "-t", "50"});
    expectFault(finished, 4, "timed out", -505);
    EXPECT_TRUE(finished.err.ends_with(": no answer within 50 ms\n")) << finished;
}

TEST_P(EveryOperation, DiesOfSignal)
{
    slave.play({silence()});
    Program program(command(one.words() + Words{"--json", "-t", "30000"}), environment());
    slave.awaitRequests(1);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    expectFault(finished, -SIGINT, "interrupted", -505);
    EXPECT_TRUE(finished.err.ends_with(": SIGINT\n")) << finished;
}

TEST_P(EveryOperation, HasHelp)
{
    const Finished finished = type({one.name, "--help"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_TRUE(finished.out.starts_with("Usage: nelkactl [OPTION...] " + one.name)) << finished;
    std::istringstream lines(finished.out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80U) << line;
    EXPECT_TRUE(slave.requests().empty());
}

std::string nameOf(const ::testing::TestParamInfo<Case>& instance)
{
    return instance.param.name;
}

INSTANTIATE_TEST_SUITE_P(Nelkactl, EveryOperation, ::testing::ValuesIn(cases()), nameOf);

class OperationWithShortReply : public EveryOperation {};

TEST_P(OperationWithShortReply, OmitsUntouchedOutputs)
{
    const std::string status = one.name == "getAlarmasEstadoControlador" ? R"(,"status":0)" : "";
    const Finished finished = answered({xml::i4(0)}, Words{"--json"} + one.words());
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(essence(finished.out), one.object("done", 0, status));
    EXPECT_FALSE(std::filesystem::exists(file()));
}

std::vector<Case> withAShortReply()
{
    std::vector<Case> some;
    std::copy_if(cases().begin(), cases().end(), std::back_inserter(some),
                 [](const Case& one) { return one.hasShortReply; });
    return some;
}

INSTANTIATE_TEST_SUITE_P(Nelkactl, OperationWithShortReply, ::testing::ValuesIn(withAShortReply()), nameOf);

TEST_F(Nelkactl, HasTheseOperations)
{
    Words expected;
    for (const Case& one : cases())
        expected.push_back(one.name);
    expected.insert(expected.begin() + 1, {"getLocalIp", "getLocalMac", "dump"});
    const auto after = [&expected](const std::string& name) {
        return std::find(expected.begin(), expected.end(), name) + 1;
    };
    expected.insert(after("cancelInputScan"), "scan");
    expected.insert(after("generarJSONWeb"), "DlFicheroEsclavo");
    EXPECT_EQ(operationsNamedIn(type({"--help"}).out), expected);
}

// Quirks ---------------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, DeletionFailsAndNamesAlternative)
{
    const Finished finished = type({"DlFicheroEsclavo", "/tmp/x", "--json"});
    EXPECT_EQ(finished.status, 3);
    EXPECT_EQ(essence(finished.out), R"({"operation":"DlFicheroEsclavo","ending":"faulted","fault":-500})");
    EXPECT_NE(type({"DlFicheroEsclavo", "--help"}).out.find("nelkactl RdFicheroEsclavo RUTA 1 --output FILE"),
              std::string::npos);
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, LocalAddressesCallNoSlave)
{
    // The machine may or may not have an eth0.
    const Finished ip = type({"getLocalIp", "--json"});
    EXPECT_EQ(ip.status, 0) << ip;
    EXPECT_TRUE(essence(ip.out).starts_with(R"({"operation":"getLocalIp","ending":"done","fault":0,"ip":")")) << ip;
    const Finished mac = type({"getLocalMac", "--json"});
    EXPECT_EQ(mac.status, 0) << mac;
    EXPECT_EQ(mac.out.find(R"("mac":")") != std::string::npos, std::filesystem::exists("/sys/class/net/eth0")) << mac;
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, SocAcceptsEveryNumberThatIsRead)
{
    for (const std::int64_t soc : {0, 1, 2147483647, -1, -1294967296, -2147483647 - 1}) {
        std::string read = answered({xml::i4(soc), xml::i4(0)}, {"getFPGASOC"}).out;
        read = read.substr(read.find("soc: ") + 5, read.size() - read.find("soc: ") - 6);
        EXPECT_EQ(answered({xml::i4(0)}, {"changeFPGASOC", read}).status, 0) << read;
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"i4 " + std::to_string(soc)})) << read;
    }
    for (const char* none : {"18446744071562067967", "18446744073709551616", "1x", ""})
        EXPECT_EQ(type({"changeFPGASOC", none}).status, 2) << none;
}

TEST_F(Nelkactl, TellsEmptyTableFromNone)
{
    EXPECT_EQ(essence(answered({xml::i4(0), xml::array({})}, {"getTable", "q", "--json"}).out),
              R"({"operation":"getTable","ending":"done","fault":0,"columns":[],"rows":[]})");
    EXPECT_EQ(essence(answered({xml::i4(0)}, {"getTable", "q", "--json"}).out),
              R"({"operation":"getTable","ending":"done","fault":0})");
}

TEST_F(Nelkactl, InvalidTableEndsWithThree)
{
    const Finished finished =
        answered({xml::i4(0), xml::array({xml::array({xml::text("a")}), xml::array({})})}, {"getTable", "q", "--json"});
    EXPECT_EQ(finished.status, 3) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"getTable","ending":"faulted","fault":-502})");
    EXPECT_NE(finished.err.find(": the reply does not have the shape of getTable ("), std::string::npos) << finished;
}

TEST_F(Nelkactl, TellsFaultResponseFromStatus)
{
    slave.play({replyFault(3, "no puedo")});
    const Finished fault = type({"updateNTP"});
    EXPECT_EQ(fault.status, 3);
    EXPECT_NE(fault.err.find(": the slave answered with a fault ("), std::string::npos) << fault;
    EXPECT_NE(fault.err.find("no puedo, 3)"), std::string::npos) << fault;
    EXPECT_EQ(answered({xml::i4(3)}, {"updateNTP"}).status, 1);
}

TEST_F(Nelkactl, FaultResponseStopsTimer)
{
    for (const int code : {0, 3}) {
        slave.play({replyFault(code, "no puedo")});
        const Finished fault = type({"updateNTP", "-v"});
        EXPECT_EQ(fault.status, 3) << fault;
        EXPECT_NE(fault.err.find("nelkactl: INICIO ALARMA 0\n"), std::string::npos) << fault;
    }
}

TEST_F(Nelkactl, ReplacesInvalidUtf8)
{
    const Values rows{xml::i4(0), xml::array({xml::array({xml::text("a")}), xml::array({xml::base64("x\xffy")})})};
    EXPECT_EQ(essence(answered(rows, {"getTable", "q", "--json"}).out),
              "{\"operation\":\"getTable\",\"ending\":\"done\",\"fault\":0,\"columns\":[\"a\"],\"rows\":[["
              "\"x\xef\xbf\xbdy\"]]}");
}

TEST_F(Nelkactl, UsesGivenDatabase)
{
    answered({xml::i4(0), xml::i4(1)}, {"-d", "otra", "xmlrpc_changes"});
    EXPECT_EQ(slave.calls().at(0).parameters, (Words{"string otra"}));
}

} // namespace
