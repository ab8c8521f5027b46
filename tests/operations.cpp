// All remote operations as one set: the names, formats and status rules of their list, held against the name table and
// against what goes over the wire.
#include "support/operations.h"

#include <algorithm>
#include <map>

#include "support/fixture.h"

using namespace support;

namespace {

TEST(Operations, StandInTheFamiliesOrder)
{
    std::vector<std::string> families;
    for (const Operation& each : operations())
        families.push_back(each.family);
    families.erase(std::unique(families.begin(), families.end()), families.end());
    EXPECT_EQ(families, (std::vector<std::string>{"core", "database", "identity", "administration", "tuning",
                                                  "scanning", "hardware", "files", "tables"}));
}

TEST(Operations, CallTheProceduresOfTheNameTable)
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

class AnyOperation : public ClientTest, public ::testing::WithParamInterface<Operation> {
protected:
    const Operation& operation = GetParam();

    void callAnswered(int status)
    {
        slave.play({replyArray(operation.sampleReply(status))});
        Variables variables;
        // The probe prints its answer, which is its own tests' matter.
        ::testing::internal::CaptureStdout();
        operation.call(client, variables, ampleTimeout);
        ::testing::internal::GetCapturedStdout();
    }

    int faultAfter(int status)
    {
        callAnswered(status);
        return client.getFault();
    }

    int expectedFault(int status) const
    {
        if (!operation.reachesTheWire())
            return XMLRPC_INTERNAL_ERROR;
        return operation.refuses(status) ? status : 0;
    }
};

INSTANTIATE_TEST_SUITE_P(, AnyOperation, ::testing::ValuesIn(operations()),
                         [](const auto& each) { return each.param.name; });

TEST_P(AnyOperation, MakesOneCallOrNone)
{
    callAnswered(0);
    EXPECT_EQ(slave.calls().size(), operation.reachesTheWire() ? 1U : 0U);
}

TEST_P(AnyOperation, SendsItsNameAndItsArguments)
{
    callAnswered(0);
    for (const xml::Request& call : slave.calls()) {
        EXPECT_EQ(call.method, operation.remote);
        EXPECT_EQ(call.parameters, operation.parameters);
    }
}

TEST_P(AnyOperation, SendsTheTypesOfItsFormat)
{
    static const std::map<char, std::string> types{{'i', "i4"}, {'s', "string"}, {'b', "boolean"}, {'6', "base64"}};
    std::vector<std::string> expected;
    for (const char letter : operation.arguments)
        if (operation.reachesTheWire() && types.contains(letter))
            expected.push_back(types.at(letter));

    callAnswered(0);
    std::vector<std::string> sent;
    for (const xml::Request& call : slave.calls())
        for (const std::string& parameter : call.parameters)
            sent.push_back(parameter.substr(0, parameter.find(' ')));
    EXPECT_EQ(sent, expected);
}

TEST_P(AnyOperation, TakesAPositiveStatusByItsRule)
{
    EXPECT_EQ(faultAfter(3), expectedFault(3));
}

TEST_P(AnyOperation, TakesANegativeStatusByItsRule)
{
    EXPECT_EQ(faultAfter(-3), expectedFault(-3));
}

} // namespace
