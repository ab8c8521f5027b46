#include "conversion.h"

#include <charconv>

#include "base64.h"

namespace nelkaslave {

namespace {

double realOf(const std::string& digits)
{
    double value = 0;
    std::from_chars(digits.data() + digits.starts_with('+'), digits.data() + digits.size(), value);
    return value;
}

Value toStructure(const Json& object)
{
    std::map<std::string, Value> members;
    for (const auto& [name, member] : object.items())
        members.emplace(name, toValue(member));
    return structure(members);
}

Value toMarked(const Json& object)
{
    const char* const mark = markOf(object);
    if (!mark)
        return toStructure(object);
    const std::string_view kind = mark;
    const Json& content = object[mark];
    if (kind == "struct")
        return toStructure(content);
    if (kind == "i8")
        return integer64(content.get<std::int64_t>());
    const auto digits = content.get<std::string>();
    return kind == "base64" ? block(fromBase64(digits)) : kind == "double" ? real(realOf(digits)) : dateTime(digits);
}

} // namespace

Value toValue(const Json& value)
{
    switch (value.type()) {
    case Json::value_t::null:
        return nil();
    case Json::value_t::boolean:
        return boolean(value.get<bool>());
    case Json::value_t::number_float:
        return real(value.get<double>());
    case Json::value_t::string:
        return exactText(value.get<std::string>());
    case Json::value_t::array: {
        Value list = emptyArray();
        for (const Json& item : value)
            append(list, toValue(item));
        return list;
    }
    case Json::value_t::object:
        return toMarked(value);
    default:
        return integer(value.get<int>());
    }
}

Json fromParameters(xmlrpc_value* parameters)
{
    const std::optional<Call> call = readCall(callXml(parameters));
    return call ? call->params : Json();
}

} // namespace nelkaslave
