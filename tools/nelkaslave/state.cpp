#include "state.h"

#include "storage.h"

namespace nelkaslave {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Identification, campo1, campo2, campo3, campo4, campo5, campo6, campo7)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Scan, id, tipo, banda, inicio)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Input, sintonia, scan)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Sap, modo, parametro, bloque)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(State, identificacion, alarmas, scripts, ultimo_script, entradas,
                                                duracion_scan_ms, ultimo_scan, refresco_web, soc, sap, ultimo_ntp)

Json toJson(const State& state)
{
    return state;
}

StateFile::StateFile(std::filesystem::path file) : path(std::move(file))
{
    try {
        state = readJson(path).get<State>();
    } catch (const Json::exception& error) {
        throw MalformedFile(path.string() + ": " + error.what());
    }
}

void StateFile::write(const State& next) const
{
    makeStateFile(path, next);
}

void makeStateFile(const std::filesystem::path& file, const State& state)
{
    replaceFile(file, toJson(state).dump(2) + "\n");
}

} // namespace nelkaslave
