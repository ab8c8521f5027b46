// The state of a module apart from databases, files and tables.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "json.h"

namespace nelkaslave {

struct Identification {
    std::string campo1, campo2, campo3;
    int campo4 = 0;
    std::string campo5, campo6, campo7;
};

struct Scan {
    int id = 0; ///< 0: none
    int tipo = 0;
    int banda = 0;
    std::int64_t inicio = 0; ///< in milliseconds since 1970
};

// NOLINTNEXTLINE(bugprone-exception-escape): moving the JSON library's values does not throw, though it asserts.
struct Input {
    Json sintonia; ///< the parameters of the channel it is tuned to, or null
    Scan scan;     ///< the last one not cancelled
};

struct Sap {
    int modo = 0;
    int parametro = 0;
    std::string bloque; ///< base64
};

struct State {
    Identification identificacion;
    std::vector<std::string> alarmas;
    std::vector<std::string> scripts; ///< the scripts that can be run
    std::string ultimo_script;
    std::vector<Input> entradas;
    int duracion_scan_ms = 3000;
    int ultimo_scan = 0;
    int refresco_web = 0;
    int soc = 0;
    Sap sap;
    std::int64_t ultimo_ntp = 0; ///< in seconds since 1970, 0 for never
};

Json toJson(const State& state);

/// Writes a state to its file.
void makeStateFile(const std::filesystem::path& file, const State& state);

/// Keeps the state in a file of JSON.
class StateFile {
public:
    /// Throws as readText() and parseDocument() do, and MalformedFile for an invalid state.
    explicit StateFile(std::filesystem::path file);

    const State& get() const { return state; }

    /// Writes the changed state to the disk, then changes it in memory.
    template <typename Change>
    void change(Change apply)
    {
        State next = state;
        apply(next);
        makeStateFile(path, next);
        state = std::move(next);
    }

private:
    std::filesystem::path path;
    State state;
};

} // namespace nelkaslave
