#include "behave.h"

#include <cstdint>
#include <limits>

#include "base64.h"
#include "json.h"
#include "procedures.h"

namespace nelkaslave {

namespace {

// Something in a JSON document, and where in it that is.
class Place {
public:
    Place(const std::string& name, const Json& root) : Place(name, root, "") {}

    const Json& operator*() const { return *what; }
    const Json* operator->() const { return what; }

    template <typename Key>
    Place operator[](const Key& key) const
    {
        return Place(file, what->at(key), pointer + "/" + named(key));
    }

    void require(bool right, const std::string& wanted) const
    {
        if (!right)
            throw MalformedFile(file + ": " + (pointer.empty() ? "" : pointer + ": ") + wanted);
    }

    std::int64_t integer(std::int64_t least, std::int64_t most, const std::string& wanted) const
    {
        require(what->is_number_integer(), wanted);
        const bool representable =
            !what->is_number_unsigned() || what->get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max();
        require(representable && what->get<std::int64_t>() >= least && what->get<std::int64_t>() <= most, wanted);
        return what->get<std::int64_t>();
    }

    int integer32() const
    {
        using Limits = std::numeric_limits<int>;
        return static_cast<int>(integer(Limits::min(), Limits::max(), "must be a 32-bit integer"));
    }

    std::int64_t integer64() const
    {
        using Limits = std::numeric_limits<std::int64_t>;
        return integer(Limits::min(), Limits::max(), "must be a 64-bit integer");
    }

    std::string string() const
    {
        require(what->is_string(), "must be a string");
        return what->get<std::string>();
    }

private:
    Place(const std::string& name, const Json& where, std::string path)
        : file(name), what(&where), pointer(std::move(path))
    {
    }

    static std::string named(const std::string& key) { return key; }
    static std::string named(std::size_t index) { return std::to_string(index); }

    std::string file;
    const Json* what;
    std::string pointer;
};

Value toValue(const Place& place);

Value toBlock(const Place& place)
{
    try {
        return block(fromBase64(place.string()));
    } catch (const std::invalid_argument& error) {
        place.require(false, error.what());
        throw;
    }
}

Value toStructure(const Place& place)
{
    if (place->size() == 1 && place->contains("base64"))
        return toBlock(place["base64"]);
    if (place->size() == 1 && place->contains("i8"))
        return integer64(place["i8"].integer64());
    std::map<std::string, Value> members;
    for (const auto& [name, member] : place->items())
        members.emplace(name, toValue(place[name]));
    return structure(members);
}

Value toValue(const Place& place)
{
    switch (place->type()) {
    case Json::value_t::null:
        return nil();
    case Json::value_t::boolean:
        return boolean(place->get<bool>());
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
        return integer(place.integer32());
    case Json::value_t::number_float:
        return real(place->get<double>());
    case Json::value_t::string:
        return text(place.string());
    case Json::value_t::array: {
        Value list = emptyArray();
        for (std::size_t i = 0; i < place->size(); ++i)
            append(list, toValue(place[i]));
        return list;
    }
    default:
        return toStructure(place);
    }
}

Fault toFault(const Place& place)
{
    place.require(place->is_array() && place->size() == 2, "must be [CODE, TEXT]");
    return Fault(place[std::size_t(0)].integer32(), place[std::size_t(1)].string());
}

Behaviour toBehaviour(const Procedure& procedure, const Place& place)
{
    place.require(place->is_object(), "must be an object");
    Behaviour behaviour;
    int outcomes = 0;
    for (const auto& [key, value] : place->items()) {
        const Place here = place[key];
        outcomes += key != "delay_ms";
        if (key == "delay_ms")
            behaviour.delay = std::chrono::milliseconds(here.integer(0, 3600000, "must be 0 to 3600000"));
        else if (key == "status")
            behaviour.status = here.integer32();
        else if (key == "fault")
            behaviour.fault.emplace(toFault(here));
        else if (key == "reply")
            behaviour.reply = toValue(here);
        else
            here.require(false, "is none of delay_ms, status, fault and reply");
    }
    place.require(outcomes <= 1, "must have one of status, fault and reply at most");
    place.require(!behaviour.status || procedure.statusPlace, "the reply of this procedure has no status");
    return behaviour;
}

} // namespace

Behaviours readBehaviours(const std::string& file)
{
    const Json document = readJson(file);
    const Place root(file, document);
    root.require(document.is_object(), "must be an object of procedures");
    Behaviours behaviours;
    for (const auto& [name, value] : document.items()) {
        const Procedure* procedure = findProcedure(name);
        root[name].require(procedure, "is no procedure");
        behaviours.emplace(name, toBehaviour(*procedure, root[name]));
    }
    return behaviours;
}

} // namespace nelkaslave
