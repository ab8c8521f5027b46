#include "state.h"

#include <limits>
#include <set>
#include <stdexcept>

#include "base64.h"
#include "storage.h"

namespace nelkaslave {

namespace {

constexpr std::int64_t anyPositive = std::numeric_limits<std::int64_t>::max();
constexpr int longestScan = 24 * 3600 * 1000;

struct Range {
    std::int64_t least;
    std::int64_t most;
};

constexpr Range any32{std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
constexpr Range positive32{0, any32.most};

// The names in the file, for both reading and writing: `member` is called with the name of each part and a reference to
// it, and for numbers with the range.

template <typename Members>
void describe(Identification& identification, Members member)
{
    member("campo1", identification.campo1);
    member("campo2", identification.campo2);
    member("campo3", identification.campo3);
    member("campo4", identification.campo4, any32);
    member("campo5", identification.campo5);
    member("campo6", identification.campo6);
    member("campo7", identification.campo7);
}

template <typename Members>
void describe(Scan& scan, Members member)
{
    member("id", scan.id, positive32);
    member("tipo", scan.tipo, any32);
    member("banda", scan.banda, Range{0, 255});
    member("inicio", scan.inicio, Range{0, anyPositive});
}

template <typename Members>
void describe(Input& input, Members member)
{
    member("sintonia", input.sintonia);
    member("scan", input.scan);
}

template <typename Members>
void describe(Sap& sap, Members member)
{
    member("modo", sap.modo, any32);
    member("parametro", sap.parametro, any32);
    member("bloque", sap.bloque);
}

template <typename Members>
void describe(State& state, Members member)
{
    member("identificacion", state.identificacion);
    member("alarmas", state.alarmas);
    member("scripts", state.scripts);
    member("ultimo_script", state.ultimo_script);
    member("entradas", state.entradas);
    member("duracion_scan_ms", state.duracion_scan_ms, Range{0, longestScan});
    member("ultimo_scan", state.ultimo_scan, positive32);
    member("refresco_web", state.refresco_web, Range{0, 65535});
    member("soc", state.soc, any32);
    member("sap", state.sap);
    member("ultimo_ntp", state.ultimo_ntp, Range{0, anyPositive});
}

// Out ----------------------------------------------------------------------------------------------------------

template <typename Part>
Json written(const Part& part);

template <typename Item>
Json written(const std::vector<Item>& items)
{
    Json list = Json::array();
    for (const Item& item : items)
        list.push_back(written(item));
    return list;
}

template <typename Part>
Json written(const Part& part)
{
    if constexpr (requires { Json(part); }) {
        return part;
    } else {
        Json object = Json::object();
        describe(const_cast<Part&>(part),
                 [&](const char* name, const auto& value, Range = any32) { object[name] = written(value); });
        return object;
    }
}

// In -----------------------------------------------------------------------------------------------------------

template <typename Part>
void read(const Place& place, Part& part);

void read(const Place& place, std::string& text)
{
    text = place.string();
}

// The parameters of a tuning, whose meaning the master knows.
void read(const Place& place, Json& sintonia)
{
    place.require(place->is_null() || place->is_object(), "must be an object or null");
    for (const auto& [name, value] : place->items())
        place[name].require(value.is_number_integer() || value.is_boolean() || value.is_string(),
                            "must be an integer, a boolean or a string");
    sintonia = *place;
}

template <typename Item>
void read(const Place& place, std::vector<Item>& items)
{
    place.require(place->is_array(), "must be an array");
    items.clear();
    for (std::size_t i = 0; i < place->size(); ++i)
        read(place[i], items.emplace_back());
}

template <typename Number>
void read(const Place& place, Number& number, Range range)
{
    number = static_cast<Number>(
        place.integer(range.least, range.most,
                      "must be an integer from " + std::to_string(range.least) + " to " + std::to_string(range.most)));
}

// A missing member keeps its value.
template <typename Part>
void read(const Place& place, Part& part)
{
    place.require(place->is_object(), "must be an object");
    std::set<std::string> known;
    describe(part, [&](const char* name, auto& value, auto... range) {
        known.insert(name);
        if (place->contains(name))
            read(place[name], value, range...);
    });
    for (const auto& [name, value] : place->items())
        place[name].require(known.contains(name), "is not part of the state");
}

void requireBase64(const Place& place, const Sap& sap)
{
    try {
        fromBase64(sap.bloque);
    } catch (const std::invalid_argument& error) {
        place["sap"]["bloque"].require(false, error.what());
    }
}

} // namespace

Json toJson(const State& state)
{
    return written(state);
}

StateFile::StateFile(std::filesystem::path file) : path(std::move(file))
{
    const Document document = parseDocument(path, readText(path));
    const Place root(document);
    read(root, state);
    requireBase64(root, state.sap);
}

void makeStateFile(const std::filesystem::path& file, const State& state)
{
    replaceFile(file, toJson(state).dump(2) + "\n");
}

} // namespace nelkaslave
