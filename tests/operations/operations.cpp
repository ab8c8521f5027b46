// Compares the names and formats in the list of operations with the name table and with the wire.
#include "support/operations.h"

#include <algorithm>
#include <map>

#include "support/fixture.h"

using namespace support;

namespace {

TEST(Operations, FollowOrderOfFamilies)
{
    std::vector<std::string> families;
    for (const Operation& each : operations())
        families.push_back(each.family);
    families.erase(std::unique(families.begin(), families.end()), families.end());
    EXPECT_EQ(families, (std::vector<std::string>{"core", "database", "identity", "administration", "tuning",
                                                  "scanning", "hardware", "files", "tables"}));
}

TEST(Operations, CallProceduresInNameTable)
{
    namespace remote = nelka::remote;
    std::vector<std::pair<std::string, std::string>> calls;
    for (const Operation& each : operations())
        calls.emplace_back(each.name, each.remote);
    EXPECT_EQ(calls, (std::vector<std::pair<std::string, std::string>>{
                         {"sampleadd", "sample.add"},
                         {"getTable", remote::GetTable},
                         {"execQuery", remote::ExecQuery},
                         {"actualizaIdentificacion", remote::ActualizaIdentificacion},
                         {"getAlarmasEstadoControlador", remote::GetAlarmasEstadoControlador},
                         {"checkSincronizado", remote::CheckSincronizado},
                         {"xmlrpc_changes", remote::Changes},
                         {"resetModuleToFactorySettings", remote::ResetFactoryEsclavo},
                         {"getHoraModulo", remote::RdHora},
                         {"setRefrescoWeb", remote::ActualizaRefrescoWeb},
                         {"updateNTP", remote::UpdateNTP},
                         {"ejecutar_script", remote::EjecutarScript},
                         {"sintonizarCanalTerr", remote::SintonizarCanalTerr},
                         {"sintonizarCanalSat", remote::SintonizarCanalSat},
                         {"initInputScan", remote::InitInputScan},
                         {"statusInputScan", remote::StatusInputScan},
                         {"getScanReport", remote::getScanReport},
                         {"cancelInputScan", remote::CancelInputScan},
                         {"getFPGASOC", remote::get_FPGA_SOC},
                         {"changeFPGASOC", remote::Change_FPGA_SOC},
                         {"generarJSONWeb", remote::Generate_JSON_WEB},
                         {"DlFicheroEsclavo", remote::BorrarArchivo},
                         {"RdFicheroEsclavo", remote::RecibirArchivo},
                         {"wrFicheroTablasSI", remote::wrFicheroTablasSI},
                         {"configureSAPServer", remote::configureSAP},
                         {"rdFicheroTablasSI", remote::RdFicheroTablasSI},
                         {"rdFicheroResumen", remote::RdFicheroResumen},
                     }));
}

class AnyOperation : public ClientTest, public ::testing::WithParamInterface<Operation> {};

INSTANTIATE_TEST_SUITE_P(, AnyOperation, ::testing::ValuesIn(operations()), ::testing::PrintToStringParamName());

TEST_P(AnyOperation, SendsTypesOfFormat)
{
    static const std::map<std::string, char> letters{{"i4", 'i'}, {"string", 's'}, {"boolean", 'b'}, {"base64", '6'}};
    const Operation& operation = GetParam();
    slave.play({replyArray(operation.sampleReply(0))});
    Variables variables;
    // The probe's tests check its output.
    ::testing::internal::CaptureStdout();
    operation.call(client, variables, ampleTimeout);
    ::testing::internal::GetCapturedStdout();

    const std::vector<xml::Request> calls = slave.calls();
    ASSERT_EQ(calls.size(), operation.reachesTheWire() ? 1U : 0U);
    for (const xml::Request& call : calls) {
        std::string sent;
        for (const std::string& parameter : call.parameters)
            sent += letters.at(parameter.substr(0, parameter.find(' ')));
        EXPECT_EQ("(" + sent + ")", operation.arguments);
    }
}

} // namespace
