#include "sample.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "database.h"
#include "state.h"
#include "storage.h"

namespace fs = std::filesystem;

namespace nelkaslave {

namespace {

// Exists while the sample is being created: after an interruption the next slave starts over.
const char* const unfinished = ".nelkaslave-unfinished";

// In every state folder.
const char* const files = "files";
const char* const tables = "tables";
const char* const stateFile = "state.json";

const char* const modulo = R"(
CREATE TABLE canales (
    id INTEGER PRIMARY KEY,
    nombre TEXT NOT NULL,
    entrada INTEGER NOT NULL,
    tipo TEXT NOT NULL,
    frecuencia INTEGER NOT NULL,
    activo INTEGER NOT NULL DEFAULT 1
);
INSERT INTO canales VALUES
    (1, 'TVN Uno', 0, 'terrestre', 482000, 1),
    (2, 'TVN Dos', 0, 'terrestre', 482000, 1),
    (3, 'Canal Montaña', 1, 'terrestre', 626000, 1),
    (4, 'Noticias 24', 2, 'satelite', 1186000, 1),
    (5, 'Cine Clásico', 2, 'satelite', 1186000, 0),
    (6, 'Música', 3, 'satelite', 1520000, 1);

CREATE TABLE servicios (
    id INTEGER PRIMARY KEY,
    canal INTEGER NOT NULL,
    pid_video INTEGER,
    pid_audio INTEGER NOT NULL,
    direccion TEXT NOT NULL,
    puerto INTEGER NOT NULL
);
INSERT INTO servicios VALUES
    (101, 1, 256, 257, '239.1.1.1', 5004),
    (102, 2, 272, 273, '239.1.1.2', 5004),
    (103, 3, 288, 289, '239.1.1.3', 5004),
    (104, 4, 512, 513, '239.1.2.1', 5004),
    (105, 5, 528, 529, '239.1.2.2', 5004),
    (106, 6, NULL, 545, '239.1.2.3', 5004);

CREATE TABLE medidas (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    entrada INTEGER NOT NULL,
    potencia_dbuv REAL NOT NULL,
    cn_db REAL,
    ber REAL
);
INSERT INTO medidas (entrada, potencia_dbuv, cn_db, ber) VALUES
    (0, 62.5, 31.25, 0.0000001),
    (1, 58.75, 27.5, 0.000002),
    (2, 66.0, 14.25, 0.00003),
    (3, 41.5, NULL, NULL);
)";

State state()
{
    State sample;
    sample.identificacion = {"NK-4T", "SN00421764", "2.7.1", 4, "3.0.2", "cabecera-norte", "00:1A:2B:3C:4D:5E"};
    sample.alarmas = {"3 entrada 3: sin enganche", "12 ventilador 2: velocidad baja"};
    sample.scripts = {"diagnostico", "reinicio_sintonizadores", "limpieza_logs"};
    sample.entradas.resize(4);
    sample.entradas[0].sintonia = {{"tipo", "terrestre"},
                                   {"frecuencia", 482000},
                                   {"parametroTerr", 8},
                                   {"parametroComun", 0},
                                   {"indicador", true}};
    sample.refresco_web = 30;
    sample.soc = 20417;
    return sample;
}

void append16(std::string& bytes, unsigned int number)
{
    bytes += static_cast<char>(number >> 8U & 0xFFU);
    bytes += static_cast<char>(number & 0xFFU);
}

// The checksum that closes a section.
std::uint32_t crc(std::string_view bytes)
{
    std::uint32_t remainder = 0xFFFFFFFFU;
    for (const char byte : bytes) {
        remainder ^= std::uint32_t{static_cast<unsigned char>(byte)} << 24U;
        for (int bit = 0; bit < 8; ++bit)
            remainder = remainder << 1U ^ (remainder & 0x80000000U ? 0x04C11DB7U : 0U);
    }
    return remainder;
}

// A program association section of one transport stream.
std::string programAssociation()
{
    std::string programs;
    for (const auto& [number, pid] : {std::pair(101U, 0x100U), std::pair(102U, 0x110U), std::pair(103U, 0x120U)}) {
        append16(programs, number);
        append16(programs, 0xE000U | pid);
    }
    std::string section(1, '\0');
    append16(section, 0xB000U | static_cast<unsigned int>(programs.size() + 9));
    append16(section, 1); // transport stream
    section += "\xC1";    // version 0, current
    append16(section, 0); // the first section and the last
    section += programs;
    const std::uint32_t sum = crc(section);
    append16(section, sum >> 16U);
    append16(section, sum & 0xFFFFU);
    return section;
}

void makeFiles(const fs::path& folder)
{
    fs::create_directories(folder / "config");
    fs::create_directories(folder / "logs");
    replaceFile(folder / "version.txt", "NK-4T 2.7.1\n");
    replaceFile(folder / "config/red.conf", "interfaz=eth0\ndireccion=10.0.0.21\nmascara=255.255.255.0\n");
    replaceFile(folder / "logs/arranque.log", "arranque completado en 8,4 s\nFPGA cargada\n4 entradas detectadas\n");
}

void makeTables(const fs::path& folder)
{
    fs::create_directories(folder);
    replaceFile(folder / "0_0", programAssociation());
    replaceFile(folder / "1_0", "1 flujo, 3 programas\n");
}

} // namespace

bool needsSample(const fs::path& folder)
{
    if (fs::is_empty(folder) || fs::exists(folder / unfinished))
        return true;
    // A reset deletes everything in the folder.
    if (!fs::is_directory(folder / files) || !fs::is_directory(folder / tables) || !fs::exists(folder / stateFile))
        throw std::runtime_error(folder.string() + " holds something other than a slave's state");
    return false;
}

void makeSample(const fs::path& folder)
{
    makeEmptyFile(folder / unfinished);
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().filename() != unfinished)
            fs::remove_all(entry.path());
    makeFiles(folder / files);
    makeTables(folder / tables);
    makeDatabase(folder / "modulo.db", modulo);
    makeStateFile(folder / stateFile, state());
    fs::remove(folder / unfinished);
    sync(openFolder(folder), folder);
}

} // namespace nelkaslave
