// All operations at once: the names, formats and status rules of one list, against what goes over the wire.
#include "support/operations.h"

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>

#include "support/fixture.h"

using namespace support;

namespace {

using Names = std::vector<std::string>;

/// The constants that clients and servers share, in the order of their declaration.
const Names& nameTable()
{
    namespace remote = nelka::remote;
    static const Names names{
        remote::Changes,
        remote::GetTable,
        remote::ExecQuery,
        remote::wrFicheroTablasSI,
        remote::RdFicheroResumen,
        remote::RdFicheroTablasSI,
        remote::ActualizaIdentificacion,
        remote::ActualizarPermisosCAM,
        remote::FinMantenimiento,
        remote::RecibirXMLMMI,
        remote::RecibirArchivo,
        remote::BorrarArchivo,
        remote::EnviarOrdenMMI,
        remote::SintonizarCanalSat,
        remote::SintonizarCanalTerr,
        remote::CheckSincronizado,
        remote::ConfigRegistroEsclavo,
        remote::ResetFactoryEsclavo,
        remote::EjecutarScript,
        remote::InitInputScan,
        remote::StatusInputScan,
        remote::CancelInputScan,
        remote::getScanReport,
        remote::resetCAM,
        remote::ActualizaRefrescoWeb,
        remote::GetAlarmasEstadoControlador,
        remote::Generate_JSON_WEB,
        remote::Change_FPGA_SOC,
        remote::get_FPGA_SOC,
        remote::RdHora,
        remote::UpdateNTP,
        remote::configureSAP,
    };
    return names;
}

TEST(TheNameTable, SpellsTheProceduresAsTheSlavesDo)
{
    EXPECT_EQ(nameTable(), (Names{"Changes",
                                  "GetTable",
                                  "ExecQuery",
                                  "wrFicheroTablasSI",
                                  "RdFicheroResumen",
                                  "RdFicheroTablasSI",
                                  "ActualizaIdentificacion",
                                  "ActualizarPermisosCAM",
                                  "FinMantenimiento",
                                  "RecibirXMLMMI",
                                  "RecibirArchivo",
                                  "BorrarArchivo",
                                  "EnviarOrdenMMI",
                                  "SintonizarCanalSat",
                                  "SintonizarCanalTerr",
                                  "CheckSincronizado",
                                  "ConfigRegistroEsclavo",
                                  "ResetFactoryEsclavo",
                                  "EjecutarScript",
                                  "InitInputScan",
                                  "StatusInputScan",
                                  "CancelInputScan",
                                  "getScanReport",
                                  "resetCAM",
                                  "ActualizaRefrescoWeb",
                                  "GetAlarmasEstadoControlador",
                                  "Generate_JSON_WEB",
                                  "Change_FPGA_SOC",
                                  "get_FPGA_SOC",
                                  "RdHora",
                                  "UpdateNTP",
                                  "configureSAP"}));
}

TEST(TheNameTable, HasOneProcedureForEveryOperationButTheProbe)
{
    std::multiset<std::string> called;
    for (const Operation& each : operations())
        called.insert(each.remote);
    std::multiset<std::string> expected(nameTable().begin(), nameTable().end());
    for (const std::string name : {"ActualizarPermisosCAM", "FinMantenimiento", "RecibirXMLMMI", "EnviarOrdenMMI",
                                   "ConfigRegistroEsclavo", "resetCAM"})
        expected.erase(name);
    expected.insert("sample.add");
    EXPECT_EQ(called, expected);
}

/// Each test runs for one operation after the other.
class AnyOperation : public ClientTest, public ::testing::WithParamInterface<Operation> {
protected:
    const Operation& operation = GetParam();
    const std::string message = operation.message(ampleTimeout);
    const std::vector<std::string> presets = operation.read(Variables{});
    Variables variables;

    void callAnswered(const Step& answer)
    {
        slave.play({answer});
        // The probe prints its answer, which is its own tests' matter.
        ::testing::internal::CaptureStdout();
        operation.call(client, variables, ampleTimeout);
        ::testing::internal::GetCapturedStdout();
    }

    std::vector<std::string> outputs() const { return operation.read(variables); }
};

/// Of the operations that ask the slave.
class AnyCall : public AnyOperation {};

std::vector<Operation> selected(bool (*wanted)(const Operation&))
{
    std::vector<Operation> those;
    std::ranges::copy_if(operations(), std::back_inserter(those), wanted);
    return those;
}

std::string nameOf(const ::testing::TestParamInfo<Operation>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(, AnyCall,
                         ::testing::ValuesIn(selected([](const Operation& each) { return each.reachesTheWire(); })),
                         nameOf);

TEST_P(AnyCall, SendsItsNameAndItsArgumentsInOrder)
{
    callAnswered(replyArray(operation.sampleReply(0)));
    ASSERT_EQ(slave.calls().size(), 1U);
    EXPECT_EQ(slave.calls()[0].method, operation.remote);
    EXPECT_EQ(slave.calls()[0].parameters, operation.parameters);
}

TEST_P(AnyCall, SendsTheTypesOfItsFormat)
{
    static const std::map<char, std::string> types{{'i', "i4"}, {'s', "string"}, {'b', "boolean"}, {'6', "base64"}};
    callAnswered(replyArray(operation.sampleReply(0)));
    std::vector<std::string> expected;
    for (const char letter : operation.arguments)
        if (types.contains(letter))
            expected.push_back(types.at(letter));

    std::vector<std::string> sent;
    for (const std::vector<xml::Request> calls = slave.calls(); const std::string& parameter : calls.at(0).parameters)
        sent.push_back(parameter.substr(0, parameter.find(' ')));
    EXPECT_EQ(sent, expected);
}

TEST_P(AnyCall, LogsItsDebugLineAndTheTimer)
{
    callAnswered(replyArray(operation.sampleReply(0)));
    std::vector<LogLine> expected{armed(ampleTimeout), disarmed()};
    if (operation.logsDebugLine())
        expected.insert(expected.begin(), debug(message));
    std::vector<LogLine> lines = log.linesWithoutNumbers();
    lines.resize(expected.size());
    EXPECT_EQ(lines, expected);
}

TEST_P(AnyCall, DeliversAGoodReply)
{
    callAnswered(replyArray(operation.sampleReply(0)));
    EXPECT_EQ(outputs(), operation.delivered(0));
    EXPECT_EQ(client.getFault(), 0);
}

TEST_P(AnyCall, DeliversAReplyWithAnErrorStatus)
{
    for (const int status : {3, -3}) {
        callAnswered(replyArray(operation.sampleReply(status)));
        EXPECT_EQ(outputs(), operation.delivered(status));
    }
}

TEST_P(AnyCall, TakesAPositiveStatusByItsRule)
{
    callAnswered(replyArray(operation.sampleReply(3)));
    EXPECT_EQ(client.getFault(), operation.refuses(3) ? 3 : 0);
}

TEST_P(AnyCall, TakesANegativeStatusByItsRule)
{
    callAnswered(replyArray(operation.sampleReply(-3)));
    EXPECT_EQ(client.getFault(), operation.refuses(-3) ? -3 : 0);
}

TEST_P(AnyCall, LogsARefusalWithItsDebugLine)
{
    callAnswered(replyArray(operation.sampleReply(-3)));
    const auto lines = log.linesWithoutNumbers();
    const std::vector<LogLine> refusal{refusedLine(message, -3), place()};
    if (operation.refuses(-3))
        EXPECT_EQ(std::vector<LogLine>(lines.end() - 2, lines.end()), refusal);
    else
        EXPECT_EQ(std::ranges::count(lines, LOG_ERR, &LogLine::priority), 0);
}

TEST_P(AnyCall, LeavesItsOutputsAloneWhenTheSlaveFaults)
{
    callAnswered(replyFault(-77, "no"));
    EXPECT_EQ(outputs(), presets);
    EXPECT_EQ(client.getFault(), -77);
}

/// Of those with a shape of its own for replies of one element.
class AnyOperationOfTwoShapes : public AnyOperation {};

INSTANTIATE_TEST_SUITE_P(, AnyOperationOfTwoShapes,
                         ::testing::ValuesIn(selected([](const Operation& each) { return !each.shortReply.empty(); })),
                         nameOf);

TEST_P(AnyOperationOfTwoShapes, TakesAStatusAloneAndLeavesItsPayloadAlone)
{
    callAnswered(replyArray({xml::i4(0)}));
    Variables expected;
    expected.status = 0;
    EXPECT_EQ(outputs(), operation.read(expected));
    EXPECT_EQ(client.getFault(), 0);
}

/// Of those with one shape that holds more than the status.
class AnyOperationOfOneLongShape : public AnyOperation {};

INSTANTIATE_TEST_SUITE_P(, AnyOperationOfOneLongShape, ::testing::ValuesIn(selected([](const Operation& each) {
                             return each.shortReply.empty() && each.reply != "(i*)" && !each.throwsWithoutText;
                         })),
                         nameOf);

TEST_P(AnyOperationOfOneLongShape, DoesNotTakeAStatusAlone)
{
    callAnswered(replyArray({xml::i4(0)}));
    EXPECT_EQ(outputs(), presets);
    EXPECT_EQ(client.getFault(), XMLRPC_INDEX_ERROR);
}

/// Of those that deliver a text which the reply may lack.
class AnyTextOperation : public AnyOperation {};

INSTANTIATE_TEST_SUITE_P(, AnyTextOperation,
                         ::testing::ValuesIn(selected([](const Operation& each) { return each.throwsWithoutText; })),
                         nameOf);

TEST_P(AnyTextOperation, RaisesALogicErrorWhenTheTextIsMissing)
{
    std::vector<std::string> values = operation.sampleReply(0);
    values.at(1) = xml::i4(5);
    slave.play({replyArray(values)});
    EXPECT_THROW(operation.call(client, variables, ampleTimeout), std::logic_error);
    EXPECT_EQ(client.getFault(), 0);
}

TEST(Operations, AreTwentySevenAndOneOfThemSendsNothing)
{
    EXPECT_EQ(operations().size(), 27U);
    EXPECT_EQ(selected([](const Operation& each) { return !each.reachesTheWire(); }).size(), 1U);
}

} // namespace
