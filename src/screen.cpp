#include "screen.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include <expat.h>
#include <xmlrpc-c/base.h>

namespace nelka {

namespace {

// xmlrpc-c recurses on open elements, and a thread may have a small stack.
constexpr std::size_t openElementsLimit = 1000;
// It compares each member of a struct with those before it, compiles a regular expression for each date, and looks
// names up in a hash table that is open to collisions.
constexpr unsigned int membersLimit = 2000;
constexpr unsigned int datesLimit = 2000;
constexpr unsigned int foreignNamesLimit = 1000;
constexpr std::size_t foreignNameLimit = 100;
constexpr std::size_t integerLimit = 64;

enum class Kind { ordinary, structure, member, integer64, real, date };

struct Element {
    std::string_view name;
    Kind kind;
};

// The most frequent come first.
constexpr Element elements[] = {
    {"value", Kind::ordinary},      {"string", Kind::ordinary},     {"i4", Kind::ordinary},
    {"data", Kind::ordinary},       {"array", Kind::ordinary},      {"name", Kind::ordinary},
    {"member", Kind::member},       {"i8", Kind::integer64},        {"struct", Kind::structure},
    {"int", Kind::ordinary},        {"param", Kind::ordinary},      {"params", Kind::ordinary},
    {"boolean", Kind::ordinary},    {"double", Kind::real},         {"base64", Kind::ordinary},
    {"nil", Kind::ordinary},        {"ex:nil", Kind::ordinary},     {"ex:i8", Kind::integer64},
    {"ex:i1", Kind::ordinary},      {"ex:i2", Kind::ordinary},      {"i1", Kind::ordinary},
    {"i2", Kind::ordinary},         {"fault", Kind::ordinary},      {"dateTime.iso8601", Kind::date},
    {"methodCall", Kind::ordinary}, {"methodName", Kind::ordinary}, {"methodResponse", Kind::ordinary},
};

const Element* elementOf(std::string_view name)
{
    for (const Element& element : elements)
        if (element.name == name)
            return &element;
    return nullptr;
}

bool hasTextToJudge(Kind kind)
{
    return kind == Kind::integer64 || kind == Kind::real;
}

constexpr std::size_t longestName = std::string_view("dateTime.iso8601").size();

bool isInteger64(std::string_view text)
{
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

// Knows the limits, for both readers.
class Judge {
public:
    const char* reason() const { return refusal; }

    void refuse(const char* why)
    {
        if (!refusal)
            refusal = why;
    }

    void open(Kind kind)
    {
        if (refusal)
            return;
        if (depth == openElementsLimit)
            return refuse("too many nested elements");
        ++depth;
        within = kind;
        length = 0;
        if (kind == Kind::structure)
            members[depth] = 0;
        else if (kind == Kind::member)
            limit(members[depth - 1], membersLimit, "too many members of a struct");
        else if (kind == Kind::date)
            limit(dates, datesLimit, "too many dates");
    }

    void foreignName(std::string_view name)
    {
        if (name.size() > foreignNameLimit)
            refuse("too long a name");
        limit(foreignNames, foreignNamesLimit, "too many names unknown to XML-RPC");
    }

    void text(std::string_view part)
    {
        if (within == Kind::real && part.find_first_of("nN") != std::string_view::npos)
            refuse("a double that is infinite or not a number");
        if (within != Kind::integer64)
            return;
        if (part.size() > start.size() - length)
            return refuse("an i8 that is not a 64-bit integer");
        std::copy(part.begin(), part.end(), start.begin() + static_cast<std::ptrdiff_t>(length));
        length += part.size();
    }

    void close()
    {
        if (within == Kind::integer64 && !isInteger64({start.data(), length}))
            refuse("an i8 that is not a 64-bit integer");
        within = Kind::ordinary;
        if (depth > 0)
            --depth;
    }

private:
    template <typename Count>
    void limit(Count& count, unsigned int most, const char* why)
    {
        if (count == most)
            refuse(why);
        else
            ++count;
    }

    const char* refusal = nullptr;
    Kind within = Kind::ordinary;
    std::size_t depth = 0;
    unsigned int dates = 0;
    unsigned int foreignNames = 0;
    std::size_t length = 0;
    std::array<char, integerLimit> start;
    std::array<unsigned short, openElementsLimit + 1> members{};
};

// The ordinary document ----------------------------------------------------------------------------------------
//
// ASCII, with a usual declaration and XML-RPC's elements, which have no attributes. In such a document every "<" begins
// a tag, so a quick scan of the tags suffices. Anything else goes to expat.

std::string_view withoutDeclaration(std::string_view document)
{
    for (const std::string_view usual :
         {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>", "<?xml version=\"1.0\"?>", "<?xml version='1.0'?>",
          "<?xml version='1.0' encoding='UTF-8'?>", "<?xml version=\"1.0\" encoding=\"utf-8\"?>",
          "<?xml version='1.0' encoding='utf-8'?>"})
        if (document.starts_with(usual))
            return document.substr(usual.size());
    return document;
}

bool contains(std::string_view document, std::string_view part)
{
    return document.find(part) != std::string_view::npos;
}

bool isAsciiWithoutZero(std::string_view document)
{
    constexpr std::uint64_t ones = 0x0101010101010101;
    std::uint64_t found = 0;
    while (document.size() >= sizeof found) {
        std::uint64_t eight;
        std::memcpy(&eight, document.data(), sizeof eight);
        found |= eight | (eight - ones);
        document.remove_prefix(sizeof eight);
    }
    for (const char last : document)
        found |= static_cast<unsigned char>(last) | (static_cast<unsigned char>(last) - std::uint64_t{1});
    return (found & (ones << 7)) == 0;
}

bool isPlainlyHarmless(std::string_view document)
{
    if (!isAsciiWithoutZero(document))
        return false;
    std::string_view rest = withoutDeclaration(document);
    // The shortest tag has three bytes, so a short document exceeds no limit. Searching for rare bytes is fast; these
    // occur in "<!", "<?", "i8" and "double".
    if (rest.size() <= 3 * openElementsLimit && !contains(rest, "!") && !contains(rest, "?") && !contains(rest, "8")
        && !contains(rest, "ble"))
        return true;
    Judge judge;
    for (std::size_t tag; (tag = rest.find('<')) != std::string_view::npos;) {
        rest.remove_prefix(tag + 1);
        if (rest.starts_with('/')) {
            judge.close();
            continue;
        }
        std::size_t end = 0;
        while (end < rest.size() && end < longestName && rest[end] != '>' && rest[end] != '/')
            ++end;
        const Element* const element = elementOf(rest.substr(0, end));
        if (!element)
            return false;
        rest.remove_prefix(end);
        judge.open(element->kind);
        if (rest.starts_with("/>"))
            judge.close();
        else if (!rest.starts_with('>'))
            return false;
        else if (hasTextToJudge(element->kind)) {
            const std::string_view text = rest.substr(1, rest.find('<') - 1);
            if (contains(text, "&"))
                return false;
            judge.text(text);
        }
    }
    return !judge.reason();
}

// Other documents ----------------------------------------------------------------------------------------------

struct Reading {
    XML_Parser parser;
    Judge judge;

    static Reading& of(void* reading) { return *static_cast<Reading*>(reading); }

    void stopIfRefused() const
    {
        if (judge.reason())
            XML_StopParser(parser, XML_FALSE);
    }
};

void XMLCALL startElement(void* data, const char* name, const char** attributes)
{
    Reading& reading = Reading::of(data);
    const Element* const element = elementOf(name);
    reading.judge.open(element ? element->kind : Kind::ordinary);
    if (!element)
        reading.judge.foreignName(name);
    for (; *attributes; attributes += 2)
        if (std::strcmp(*attributes, "xmlns:ex") != 0)
            reading.judge.foreignName(*attributes);
    reading.stopIfRefused();
}

void XMLCALL endElement(void* data, const char*)
{
    Reading& reading = Reading::of(data);
    reading.judge.close();
    reading.stopIfRefused();
}

void XMLCALL characterData(void* data, const char* text, int length)
{
    Reading& reading = Reading::of(data);
    reading.judge.text({text, static_cast<std::size_t>(length)});
    reading.stopIfRefused();
}

void XMLCALL startDocumentType(void* data, const char*, const char*, const char*, int hasInternalSubset)
{
    Reading& reading = Reading::of(data);
    if (hasInternalSubset)
        reading.judge.refuse("a document type with an internal subset");
    reading.stopIfRefused();
}

const char* reasonOfParser(std::string_view document)
{
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        document.size() <= INT_MAX ? XML_ParserCreate(nullptr) : nullptr, XML_ParserFree);
    if (!parser)
        return "too little memory to check it";
    Reading reading{parser.get(), {}};
    XML_SetUserData(parser.get(), &reading);
    XML_SetElementHandler(parser.get(), startElement, endElement);
    XML_SetCharacterDataHandler(parser.get(), characterData);
    XML_SetStartDoctypeDeclHandler(parser.get(), startDocumentType);
    if (XML_Parse(parser.get(), document.data(), static_cast<int>(document.size()), XML_TRUE) == XML_STATUS_OK)
        return nullptr;
    return reading.judge.reason() ? reading.judge.reason() : XML_ErrorString(XML_GetErrorCode(parser.get()));
}

} // namespace

const char* reasonToRefuse(std::string_view document) noexcept
{
    if (document.size() > xmlrpc_limit_get(XMLRPC_XML_SIZE_LIMIT_ID) || isPlainlyHarmless(document))
        return nullptr;
    // xmlrpc-c's parser and expat would read different texts from these.
    if (document.find('\0') != std::string_view::npos || document.starts_with("\xFE\xFF")
        || document.starts_with("\xFF\xFE"))
        return "a zero byte or a UTF-16 byte-order mark";
    if (document.starts_with("\xEF\xBB\xBF"))
        return "a byte-order mark";
    return reasonOfParser(document);
}

} // namespace nelka
