// The names of a slave's remote procedures, spelled once for clients and servers.
#ifndef NELKANET_REMOTEMETHODS_H
#define NELKANET_REMOTEMETHODS_H

#include <string>

namespace nelka {

/// The names on the wire, in their mixed spellings. Each identifier equals its text. The probe's name, "sample.add", is
/// not among them. No client method calls ActualizarPermisosCAM, ConfigRegistroEsclavo, EnviarOrdenMMI,
/// FinMantenimiento, RecibirXMLMMI or resetCAM.
///
/// Every source file that includes this header has its own copy, constructed during that file's static initialisation:
/// the static initialisers of other files must not use it.
namespace remote {

/// @{
/// The name of a procedure of the slave.
static const std::string Changes = "Changes";
static const std::string GetTable = "GetTable";
static const std::string ExecQuery = "ExecQuery";
static const std::string wrFicheroTablasSI = "wrFicheroTablasSI";
static const std::string RdFicheroResumen = "RdFicheroResumen";
static const std::string RdFicheroTablasSI = "RdFicheroTablasSI";
static const std::string ActualizaIdentificacion = "ActualizaIdentificacion";
static const std::string ActualizarPermisosCAM = "ActualizarPermisosCAM";
static const std::string FinMantenimiento = "FinMantenimiento";
static const std::string RecibirXMLMMI = "RecibirXMLMMI";
static const std::string RecibirArchivo = "RecibirArchivo";
static const std::string BorrarArchivo = "BorrarArchivo";
static const std::string EnviarOrdenMMI = "EnviarOrdenMMI";
static const std::string SintonizarCanalSat = "SintonizarCanalSat";
static const std::string SintonizarCanalTerr = "SintonizarCanalTerr";
static const std::string CheckSincronizado = "CheckSincronizado";
static const std::string ConfigRegistroEsclavo = "ConfigRegistroEsclavo";
static const std::string ResetFactoryEsclavo = "ResetFactoryEsclavo";
static const std::string EjecutarScript = "EjecutarScript";
static const std::string InitInputScan = "InitInputScan";
static const std::string StatusInputScan = "StatusInputScan";
static const std::string CancelInputScan = "CancelInputScan";
static const std::string getScanReport = "getScanReport";
static const std::string resetCAM = "resetCAM";
static const std::string ActualizaRefrescoWeb = "ActualizaRefrescoWeb";
static const std::string GetAlarmasEstadoControlador = "GetAlarmasEstadoControlador";
static const std::string Generate_JSON_WEB = "Generate_JSON_WEB";
static const std::string Change_FPGA_SOC = "Change_FPGA_SOC";
static const std::string get_FPGA_SOC = "get_FPGA_SOC";
static const std::string RdHora = "RdHora";
static const std::string UpdateNTP = "UpdateNTP";
static const std::string configureSAP = "configureSAP";
/// @}

} // namespace remote
} // namespace nelka

#endif
