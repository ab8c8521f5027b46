// The table of names, byte for byte.
#include <algorithm>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nelkanet/remotemethods.h>

namespace {

using namespace nelka;

using Entry = std::pair<std::string, std::string>;

const std::vector<std::pair<const std::string&, const char*>> table{
    {remote::Changes, "Changes"},
    {remote::GetTable, "GetTable"},
    {remote::ExecQuery, "ExecQuery"},
    {remote::wrFicheroTablasSI, "wrFicheroTablasSI"},
    {remote::RdFicheroResumen, "RdFicheroResumen"},
    {remote::RdFicheroTablasSI, "RdFicheroTablasSI"},
    {remote::ActualizaIdentificacion, "ActualizaIdentificacion"},
    {remote::ActualizarPermisosCAM, "ActualizarPermisosCAM"},
    {remote::FinMantenimiento, "FinMantenimiento"},
    {remote::RecibirXMLMMI, "RecibirXMLMMI"},
    {remote::RecibirArchivo, "RecibirArchivo"},
    {remote::BorrarArchivo, "BorrarArchivo"},
    {remote::EnviarOrdenMMI, "EnviarOrdenMMI"},
    {remote::SintonizarCanalSat, "SintonizarCanalSat"},
    {remote::SintonizarCanalTerr, "SintonizarCanalTerr"},
    {remote::CheckSincronizado, "CheckSincronizado"},
    {remote::ConfigRegistroEsclavo, "ConfigRegistroEsclavo"},
    {remote::ResetFactoryEsclavo, "ResetFactoryEsclavo"},
    {remote::EjecutarScript, "EjecutarScript"},
    {remote::InitInputScan, "InitInputScan"},
    {remote::StatusInputScan, "StatusInputScan"},
    {remote::CancelInputScan, "CancelInputScan"},
    {remote::getScanReport, "getScanReport"},
    {remote::resetCAM, "resetCAM"},
    {remote::ActualizaRefrescoWeb, "ActualizaRefrescoWeb"},
    {remote::GetAlarmasEstadoControlador, "GetAlarmasEstadoControlador"},
    {remote::Generate_JSON_WEB, "Generate_JSON_WEB"},
    {remote::Change_FPGA_SOC, "Change_FPGA_SOC"},
    {remote::get_FPGA_SOC, "get_FPGA_SOC"},
    {remote::RdHora, "RdHora"},
    {remote::UpdateNTP, "UpdateNTP"},
    {remote::configureSAP, "configureSAP"},
};

// The identifiers and texts that a source file declares, in order.
std::vector<Entry> declaredIn(const char* path)
{
    const std::string start = "static const std::string ";
    std::ifstream file(path);
    std::vector<Entry> all;
    for (std::string line; std::getline(file, line);) {
        const std::size_t name = line.find(start);
        if (name == std::string::npos)
            continue;
        std::istringstream declaration(line.substr(name + start.size()));
        Entry entry;
        declaration >> entry.first >> std::ws;
        declaration.ignore(2) >> std::quoted(entry.second);
        all.push_back(entry);
    }
    return all;
}

TEST(RemoteMethodNames, AreThoseOfSlaves)
{
    for (const auto& [name, text] : table)
        EXPECT_EQ(name, text);
}

TEST(RemoteMethodNames, EqualTheirIdentifiers)
{
    std::vector<Entry> expected;
    for (const auto& [name, text] : table)
        expected.emplace_back(text, text);
    const std::vector<Entry> declared = declaredIn(HEADER);
    for (std::size_t i = 0; i < std::min(declared.size(), expected.size()); ++i)
        EXPECT_EQ(declared[i], expected[i]);
    EXPECT_EQ(declared.size(), expected.size());
}

TEST(RemoteMethodNames, IncludeNO_TABLEOnlyInClient)
{
    EXPECT_EQ(declaredIn(CLIENT), (std::vector<Entry>{{"NO_TABLE", "NO_TABLE"}}));
    EXPECT_TRUE(declaredIn(SERVER).empty());
}

} // namespace
