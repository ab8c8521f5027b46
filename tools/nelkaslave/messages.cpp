#include "messages.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include <expat.h>

#include "base64.h"

namespace nelkaslave {

namespace {

// Elements -----------------------------------------------------------------------------------------------------

// Bounds for input from the network. xmlrpc-c reads 64 nested arrays, of three elements each.
constexpr std::size_t deepestElement = 250;
constexpr std::size_t mostElements = 500000;

struct Element {
    std::string name;
    std::string text;
    std::vector<Element> children;
};

class Reader {
public:
    // Nothing for invalid XML, a document type, or input beyond the bounds.
    static std::optional<Element> read(std::string_view xml)
    {
        if (xml.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
            return std::nullopt;
        Reader reader;
        const std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser(
            XML_ParserCreate(nullptr), XML_ParserFree);
        reader.parser = parser.get();
        XML_SetUserData(reader.parser, &reader);
        XML_SetElementHandler(reader.parser, start, end);
        XML_SetCharacterDataHandler(reader.parser, characters);
        XML_SetStartDoctypeDeclHandler(reader.parser, documentType);
        if (XML_Parse(reader.parser, xml.data(), static_cast<int>(xml.size()), 1) != XML_STATUS_OK)
            return std::nullopt;
        return std::move(reader.root.children.front());
    }

private:
    static void start(void* user, const char* name, const char**)
    {
        Reader& reader = *static_cast<Reader*>(user);
        if (reader.open.size() > deepestElement || ++reader.count > mostElements) {
            XML_StopParser(reader.parser, XML_FALSE);
            return;
        }
        reader.open.push_back(&reader.open.back()->children.emplace_back());
        reader.open.back()->name = name;
    }

    static void end(void* user, const char*) { static_cast<Reader*>(user)->open.pop_back(); }

    static void characters(void* user, const char* text, int length)
    {
        static_cast<Reader*>(user)->open.back()->text.append(text, static_cast<std::size_t>(length));
    }

    static void documentType(void* user, const char*, const char*, const char*, int)
    {
        XML_StopParser(static_cast<Reader*>(user)->parser, XML_FALSE);
    }

    XML_Parser parser = nullptr;
    Element root;
    std::vector<Element*> open{&root};
    std::size_t count = 0;
};

// In -----------------------------------------------------------------------------------------------------------

// Ends the reading of an invalid message.
struct Unreadable {};

void require(bool right)
{
    if (!right)
        throw Unreadable();
}

bool blank(const std::string& text)
{
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

const Element& only(const Element& parent, const char* name)
{
    require(blank(parent.text) && parent.children.size() == 1 && parent.children[0].name == name);
    return parent.children[0];
}

template <typename Number>
Number number(std::string_view text)
{
    if (text.starts_with('+'))
        text.remove_prefix(1);
    Number value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    require(error == std::errc() && end == text.data() + text.size());
    return value;
}

// Without an exponent, which XML-RPC lacks.
std::string digitsOf(double value)
{
    std::array<char, 400> digits{};
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed);
    return std::string(digits.data(), end);
}

// Without trailing zeros.
std::string significant(std::string digits)
{
    if (digits.find('.') != std::string::npos) {
        digits.erase(digits.find_last_not_of('0') + 1);
        if (digits.back() == '.')
            digits.pop_back();
    }
    return digits;
}

Json readDouble(const std::string& text)
{
    const auto value = number<double>(text);
    require(std::isfinite(value));
    if (significant(text) == digitsOf(value))
        return value;
    return {{"double", text}};
}

const std::array<const char*, 5> marks{"base64", "i8", "double", "dateTime", "struct"};

Json readValue(const Element& value);

Json readStruct(const Element& element)
{
    require(blank(element.text));
    Json members = Json::object();
    for (const Element& member : element.children) {
        require(member.name == "member" && blank(member.text) && member.children.size() == 2);
        const Element& name = member.children[0];
        require(name.name == "name" && name.children.empty() && !members.contains(name.text));
        members[name.text] = readValue(member.children[1]);
    }
    if (markOf(members))
        return {{"struct", std::move(members)}};
    return members;
}

Json readArray(const Element& element)
{
    const Element& data = only(element, "data");
    require(blank(data.text));
    Json items = Json::array();
    for (const Element& item : data.children)
        items.push_back(readValue(item));
    return items;
}

Json readBlock(const std::string& text)
{
    std::string digits;
    for (const char character : text)
        if (!blank({character}))
            digits += character;
    try {
        return {{"base64", toBase64(fromBase64(digits))}};
    } catch (const std::invalid_argument&) {
        throw Unreadable();
    }
}

Json readValue(const Element& value)
{
    require(value.name == "value");
    if (value.children.empty())
        return value.text;
    require(blank(value.text) && value.children.size() == 1);
    const Element& typed = value.children[0];
    if (typed.name == "array")
        return readArray(typed);
    if (typed.name == "struct")
        return readStruct(typed);
    require(typed.children.empty());
    const std::string& text = typed.text;
    if (typed.name == "i4" || typed.name == "int")
        return number<std::int32_t>(text);
    if (typed.name == "i8" || typed.name == "ex:i8")
        return {{"i8", number<std::int64_t>(text)}};
    if (typed.name == "boolean") {
        require(text == "0" || text == "1");
        return text == "1";
    }
    if (typed.name == "string")
        return text;
    if (typed.name == "base64")
        return readBlock(text);
    if (typed.name == "double")
        return readDouble(text);
    if (typed.name == "dateTime.iso8601")
        return {{"dateTime", text}};
    require(typed.name == "nil" || typed.name == "ex:nil");
    require(text.empty());
    return nullptr;
}

Call callOf(const Element& root)
{
    require(root.name == "methodCall" && blank(root.text) && !root.children.empty() && root.children.size() <= 2);
    const Element& name = root.children[0];
    require(name.name == "methodName" && name.children.empty() && !name.text.empty());
    Call call{name.text};
    if (root.children.size() == 2) {
        const Element& params = root.children[1];
        require(params.name == "params" && blank(params.text));
        for (const Element& param : params.children) {
            require(param.name == "param");
            call.params.push_back(readValue(only(param, "value")));
        }
    }
    return call;
}

Answer answerOf(const Element& root)
{
    require(root.name == "methodResponse" && blank(root.text) && root.children.size() == 1);
    const Element& content = root.children[0];
    if (content.name != "fault") {
        require(content.name == "params");
        return {readValue(only(only(content, "param"), "value")), std::nullopt};
    }
    const Json fault = readValue(only(content, "value"));
    require(fault.is_object() && fault.size() == 2 && fault.contains("faultCode") && fault.contains("faultString"));
    require(fault["faultCode"].is_number_integer() && fault["faultString"].is_string());
    return {nullptr, FaultAnswer{fault["faultCode"].get<int>(), fault["faultString"].get<std::string>()}};
}

template <typename Message>
std::optional<Message> readMessage(std::string_view xml, Message (*messageOf)(const Element&))
{
    try {
        if (const std::optional<Element> root = Reader::read(xml))
            return messageOf(*root);
    } catch (const Unreadable&) {
    }
    return std::nullopt;
}

// Out ----------------------------------------------------------------------------------------------------------

std::string escaped(const std::string& text)
{
    std::string xml;
    for (const char character : text)
        switch (character) {
        case '<':
            xml += "&lt;";
            break;
        case '>':
            xml += "&gt;";
            break;
        case '&':
            xml += "&amp;";
            break;
        case '\r': // a reader would turn it into a line feed
            xml += "&#13;";
            break;
        default:
            xml += character;
        }
    return xml;
}

std::string tagged(const std::string& name, const std::string& content)
{
    return "<" + name + ">" + content + "</" + name + ">";
}

std::string writtenValue(const Json& value);

std::string writtenStruct(const Json& object)
{
    std::string members;
    for (const auto& [name, member] : object.items())
        members += tagged("member", tagged("name", escaped(name)) + writtenValue(member));
    return tagged("struct", members);
}

std::string writtenObject(const Json& object)
{
    const char* const mark = markOf(object);
    if (!mark)
        return writtenStruct(object);
    const Json& content = object[mark];
    if (std::string_view(mark) == "struct")
        return writtenStruct(content);
    if (std::string_view(mark) == "i8")
        return tagged("i8", content.dump());
    return tagged(std::string_view(mark) == "dateTime" ? "dateTime.iso8601" : mark,
                  escaped(content.get<std::string>()));
}

std::string writtenArray(const Json& array)
{
    std::string items;
    for (const Json& item : array)
        items += writtenValue(item);
    return tagged("array", tagged("data", items));
}

std::string writtenContent(const Json& value)
{
    switch (value.type()) {
    case Json::value_t::null:
        return "<nil/>";
    case Json::value_t::boolean:
        return tagged("boolean", value.get<bool>() ? "1" : "0");
    case Json::value_t::number_float:
        return tagged("double", digitsOf(value.get<double>()));
    case Json::value_t::string:
        return tagged("string", escaped(value.get<std::string>()));
    case Json::value_t::array:
        return writtenArray(value);
    case Json::value_t::object:
        return writtenObject(value);
    default:
        return tagged("i4", value.dump());
    }
}

std::string writtenValue(const Json& value)
{
    return tagged("value", writtenContent(value));
}

// From a file --------------------------------------------------------------------------------------------------

Json blockAt(const Place& place)
{
    const std::string text = place.string();
    try {
        return toBase64(fromBase64(text));
    } catch (const std::invalid_argument& error) {
        place.require(false, error.what());
        throw;
    }
}

Json doubleAt(const Place& place)
{
    const std::string text = place.string();
    try {
        require(std::isfinite(number<double>(text)));
    } catch (const Unreadable&) {
        place.require(false, "must be the digits of a number");
    }
    return text;
}

Json membersAt(const Place& place)
{
    place.require(place->is_object(), "must be an object");
    Json members = Json::object();
    for (const auto& [name, member] : place->items())
        members[name] = valueAt(place[name]);
    return members;
}

Json objectAt(const Place& place)
{
    const char* const mark = markOf(*place);
    if (!mark)
        return membersAt(place);
    const Place content = place[mark];
    const std::string_view kind = mark;
    return {{mark, kind == "base64"   ? blockAt(content)
                   : kind == "i8"     ? Json(content.integer64())
                   : kind == "double" ? doubleAt(content)
                   : kind == "struct" ? membersAt(content)
                                      : Json(content.string())}};
}

} // namespace

const char* markOf(const Json& object)
{
    if (object.size() == 1)
        for (const char* const mark : marks)
            if (object.contains(mark))
                return mark;
    return nullptr;
}

std::optional<Call> readCall(std::string_view xml)
{
    return readMessage(xml, callOf);
}

std::optional<Answer> readAnswer(std::string_view xml)
{
    return readMessage(xml, answerOf);
}

std::string written(const Answer& answer)
{
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";
    if (answer.fault)
        return head
               + tagged("methodResponse", tagged("fault", writtenValue({{"faultCode", answer.fault->code},
                                                                        {"faultString", answer.fault->text}})));
    return head + tagged("methodResponse", tagged("params", tagged("param", writtenValue(answer.reply))));
}

Json valueAt(const Place& place)
{
    switch (place->type()) {
    case Json::value_t::number_integer:
    case Json::value_t::number_unsigned:
        return place.integer32();
    case Json::value_t::array: {
        Json items = Json::array();
        for (std::size_t i = 0; i < place->size(); ++i)
            items.push_back(valueAt(place[i]));
        return items;
    }
    case Json::value_t::object:
        return objectAt(place);
    default:
        return *place;
    }
}

} // namespace nelkaslave
