#include "documents.h"

#include <algorithm>
#include <array>
#include <utility>

#include "limits.h"
#include "texts.h"

namespace hostile {

namespace {

// Client and server read documents of up to 1 MiB.
constexpr std::size_t room = 1'000'000;

/// Repeats it as often as it fits.
std::string full(std::string_view unit, std::size_t size = room)
{
    return many(size / unit.size(), unit);
}

/// The texts of `unit` for 0, 1, 2 and so on, as long as they fit.
template <typename Unit>
std::string counted(Unit unit, std::size_t size = room)
{
    std::string all;
    for (std::size_t i = 0; all.size() < size; ++i)
        all += unit(i);
    return all;
}

/// What crashes an unprotected reader.
const std::string bad = "<i8>x</i8>";

std::string element(const std::string& name, std::string_view content, const std::string& attributes = "")
{
    return "<" + name + attributes + ">" + std::string(content) + "</" + name + ">";
}

std::string value(std::string_view content)
{
    return element("value", content);
}

std::string array(std::string_view values)
{
    return element("array", element("data", values));
}

std::string structure(std::string_view members)
{
    return element("struct", members);
}

std::string member(std::string_view name, std::string_view content)
{
    return element("member", element("name", name) + value(content));
}

/// Names of equal length that collide for any initial hash: a name's hash is 33 times that of all but its last
/// character, plus that character, so "az", "bY" and "c8" are interchangeable anywhere.
std::string colliding(std::size_t number)
{
    std::string name;
    for (int digit = 0; digit < 10; ++digit, number /= 3)
        name += std::array{"az", "bY", "c8"}[number % 3];
    return name;
}

/// A document type with these declarations, for an element of any name.
std::string documentType(const std::string& root, std::string_view declarations)
{
    return "<!DOCTYPE " + root + " [" + std::string(declarations) + "]>\n";
}

/// Entities whose text is ten times that of the former, up to that depth: &e0; &e1; and so on.
std::string tenfold(int depth)
{
    std::string declarations = "<!ENTITY e0 '0123456789'>";
    for (int level = 1; level <= depth; ++level)
        declarations +=
            "<!ENTITY e" + std::to_string(level) + " '" + many(10, "&e" + std::to_string(level - 1) + ";") + "'>";
    return declarations;
}

class List {
public:
    std::vector<Document> all;

    void begin(std::string group, Due due)
    {
        currentGroup = std::move(group);
        currentDue = due;
    }

    void add(std::string name, std::function<std::string(const Place&)> at)
    {
        all.push_back({currentGroup, std::move(name), currentDue, std::move(at)});
    }

    /// Adds a document with harmful values; long ones are written on demand.
    void holding(std::string name, std::string values)
    {
        add(std::move(name), [values = std::move(values)](const Place& place) { return place.around(values); });
    }

    void holding(std::string name, std::string (*values)())
    {
        add(std::move(name), [values](const Place& place) { return place.around(values()); });
    }

    /// Adds a document that is the same in every place.
    void whole(std::string name, std::string bytes)
    {
        add(std::move(name), [bytes = std::move(bytes)](const Place&) { return bytes; });
    }

    /// Adds a document with a document type and a value that uses it.
    void declaring(std::string name, std::string values, std::string (*declarations)())
    {
        add(std::move(name), [declarations, values = std::move(values)](const Place& place) {
            return place.declaration + documentType(place.root, declarations()) + place.before + values + place.after;
        });
    }

    /// Adds a document with this XML declaration.
    void declared(std::string name, std::string declaration, std::string values = value("x"))
    {
        add(std::move(name), [declaration = std::move(declaration), values = std::move(values)](const Place& place) {
            return declaration + place.before + values + place.after;
        });
    }

private:
    std::string currentGroup;
    Due currentDue = Due::anything;
};

// Invalid 64-bit integers --------------------------------------------------------------------------------------------

void addLongIntegers(List& list)
{
    list.begin("LongIntegers", Due::refusal);
    for (const std::string& text : words("- + --1 +-1 x 0x10 1x 1.0 1e3 1,000 1_000 nan inf 9223372036854775808 "
                                         "-9223372036854775809 18446744073709551616 \xEF\xBC\x91 %s%n <![CDATA[]]> "
                                         "<![CDATA[x]]> 1<?pi?>- &lt; &#45; &#49;&#120; 1&#32; &#x31;&#x2E;",
                                         {"", "1 ", "1\n", " 1", "\t",
                                          "\xC2\xA0"
                                          "1",
                                          "1<![CDATA[ ]]>", "<!-- 1 -->", "1<!-- -->x", "<?pi 1?>"}))
        list.holding("i8 of '" + text + "'", value(element("i8", text)));
    for (const std::string& xml :
         words("<i8/> <ex:i8/> <ex:i8></ex:i8> <ex:i8>x</ex:i8> <i8><!--</i8><i8>1--></i8> <i8><![CDATA[</i8>]]></i8>",
               {"<i8 />", "<i8\n/>", "<i8\n></i8\n>", "<i8\t \r\n></i8>", "<ex:i8\n>1 </ex:i8>", "<i8 a=\"1\"></i8>",
                "<i8 a='>'></i8>", "<i8 a='>1</i8>'>x</i8>", "<i8 xmlns=\"\">x</i8>", "<ex:i8 xmlns:ex='e'>x</ex:i8>",
                "<!-- <i8>1</i8> --><i8>x</i8>", "<?pi <i8>1</i8>?><i8/>"}))
        list.holding(xml, value(xml));
    list.holding("i8 of a thousand digits", value(element("i8", many(1000, "7"))));
    list.holding("i8 of a million digits", [] { return value(element("i8", full("7"))); });
    list.holding("i8 of zeros and a letter", [] { return value(element("i8", full("0") + "x")); });
    list.holding("bad i8 after text", [] { return value(full("1234567 ")) + value(bad); });
    list.holding("bad i8 after good ones", [] { return full(value("<i8>1</i8>"), 900'000) + value(bad); });
    list.holding("bad i8 in an array", value(array(value(bad))));
    list.holding("bad i8 in a structure", value(structure(member("a", bad))));
    list.holding("bad i8 in deep arrays", [] {
        std::string nested = bad;
        for (int depth = 0; depth < 40; ++depth)
            nested = array(value(nested));
        return value(nested);
    });
}

// Depth --------------------------------------------------------------------------------------------------------------

void addDepth(List& list)
{
    const auto nested = [](std::size_t depth, std::string_view open, std::string_view inner, std::string_view close) {
        return [=](const Place& place) {
            return place.around(many(depth, open) + std::string(inner) + many(depth, close));
        };
    };
    list.begin("Depth", Due::refusal);
    list.add("elements, ended", nested(140'000, "<a>", "", "</a>"));
    list.add("elements with attributes", nested(70'000, "<a b=''>", "", "</a>"));
    list.add("elements with text", nested(100'000, "<a>b", "b", "</a>c"));
    list.add("elements, each after another", nested(80'000, "<a/><a>", "", "</a>"));
    list.add("elements among comments", nested(60'000, "<!----><a>", "", "</a>"));
    list.add("elements among character data", nested(50'000, "<a><![CDATA[]]>", "", "</a>"));
    list.add("elements among blank lines", nested(70'000, "<a\n>\r\n", "", "</a\n>"));
    list.add("values", nested(60'000, "<value>", "", "</value>"));
    list.add("arrays", nested(20'000, "<value><array><data>", "", "</data></array></value>"));
    list.add("structures",
             nested(10'000, "<value><struct><member><name>a</name>", "<value/>", "</member></struct></value>"));
    list.add("arrays, 3,000 elements", nested(1'000, "<value><array><data>", "", "</data></array></value>"));
    list.add("elements, 3,000", nested(3'000, "<a>", "", "</a>"));
    list.add("elements, 3,000 with an error inside", nested(3'000, "<a>", "<b></c>", "</a>"));
    list.add("elements, 10,000 with an error inside", nested(10'000, "<a>", "&", "</a>"));
    list.add("elements, 10,000 of long names", [](const Place& place) {
        const std::string name(40, 'a');
        return place.around(many(10'000, "<" + name + ">") + many(10'000, "</" + name + ">"));
    });
    list.add("elements left open", [](const Place& place) { return place.around(full("<a>")); });
    list.add("elements left open, 3,000", [](const Place& place) { return place.around(many(3'000, "<a>")); });
    list.add("values left open", [](const Place& place) { return place.around(full("<value>")); });
    list.add("elements left open in a name", [](const Place& place) {
        return place.around("<value><struct><member><name>" + full("<a>")
                            + "</name><value/></member></struct></value>");
    });
    list.add("nothing but elements left open", [](const Place&) { return full("<a>"); });
    list.add("arrays beyond what is read", nested(70, "<value><array><data>", "", "</data></array></value>"));
}

// Document types -----------------------------------------------------------------------------------------------------

void addDocumentTypes(List& list)
{
    list.begin("DocumentTypes", Due::refusal);
    list.declaring("entities of entities", value("&e9;"), [] { return tenfold(9); });
    list.declaring("entities of entities, not used", value("x"), [] { return tenfold(9); });
    list.declaring("entities of entities in an attribute", "<value a='&e9;'/>", [] { return tenfold(9); });
    list.declaring("entities of entities in a default attribute", value("x"),
                   [] { return tenfold(9) + "<!ATTLIST value a CDATA '&e9;'>"; });
    list.declaring("entities of entities in an i8", value("<i8>&e2;</i8>"), [] { return tenfold(2); });
    list.declaring("a long entity, often", value(many(20'000, "&e;")),
                   [] { return "<!ENTITY e '" + many(60'000, "x") + "'>"; });
    list.declaring("a long entity in an attribute, often", "<value a='" + many(20'000, "&e;") + "'/>",
                   [] { return "<!ENTITY e '" + many(60'000, "x") + "'>"; });
    list.declaring("a long entity in attributes of many", many(20'000, "<value a='&e;'/>"),
                   [] { return "<!ENTITY e '" + many(100'000, "x") + "'>"; });
    list.declaring("a long default attribute of many", many(60'000, "<value/>"),
                   [] { return "<!ATTLIST value a CDATA '" + many(300'000, "x") + "'>"; });
    list.declaring("many default attributes of many", many(50'000, "<value/>"), [] {
        return counted([](std::size_t i) { return "<!ATTLIST value a" + std::to_string(i) + " CDATA ''>"; }, 500'000);
    });
    list.declaring("default attributes whose names collide", value("x"), [] {
        return counted([](std::size_t i) { return "<!ATTLIST value " + colliding(i) + " CDATA ''>"; });
    });
    list.declaring("entities whose names collide", value("x"),
                   [] { return counted([](std::size_t i) { return "<!ENTITY " + colliding(i) + " ''>"; }); });
    list.declaring("parameter entities whose names collide", value("x"),
                   [] { return counted([](std::size_t i) { return "<!ENTITY % " + colliding(i) + " ''>"; }); });
    list.declaring("declared elements whose names collide", value("x"),
                   [] { return counted([](std::size_t i) { return "<!ELEMENT " + colliding(i) + " EMPTY>"; }); });
    list.declaring("an entity of elements left open", value("&e;"),
                   [] { return "<!ENTITY e '" + many(100'000, "<a>") + "'>"; });
    list.declaring("an entity of elements", many(1'000, "&e;"),
                   [] { return "<!ENTITY e '" + many(10'000, "<value/>") + "'>"; });
    list.declaring("an entity of a bad i8", value("&e;"), [] { return "<!ENTITY e '" + bad + "'>"; });
    list.declaring("an entity of half an i8", value("<i8>&e;"), [] { return std::string("<!ENTITY e 'x</i8>'>"); });
    list.declaring("an entity of no digits", value("<i8>&e;</i8>"), [] { return std::string("<!ENTITY e ''>"); });
    list.declaring("an entity of itself", value("&e;"), [] { return std::string("<!ENTITY e '&e;'>"); });
    list.declaring("two entities of each other", "<value a='&e;'>&f;</value>",
                   [] { return std::string("<!ENTITY e '&f;'><!ENTITY f '&e;'>"); });
    list.declaring("a chain of entities", value("&e20000;"), [] {
        return "<!ENTITY e0 'x'>"
               + counted(
                   [](std::size_t i) {
                       return "<!ENTITY e" + std::to_string(i + 1) + " '&e" + std::to_string(i) + ";'>";
                   },
                   900'000);
    });
    list.declaring("entities built in, declared otherwise", value("&lt;&amp;"),
                   [] { return std::string("<!ENTITY lt '&#38;#60;i8>x&#38;#60;/i8>'><!ENTITY amp '&#38;#38;lt;'>"); });
    list.declaring("parameter entities of parameter entities", value("&e;"),
                   [] { return std::string("<!ENTITY % a '&#37;b;'><!ENTITY % b '&#37;a;'>%a;<!ENTITY e 'x'>"); });
    list.declaring("a file as an entity", value("&e;"),
                   [] { return std::string("<!ENTITY e SYSTEM 'file:///dev/zero'>"); });
    list.declaring("a file as an attribute", "<value a='&e;'/>",
                   [] { return std::string("<!ENTITY e SYSTEM '/etc/hostname'>"); });
    list.declaring("a host as a parameter entity", value("x"),
                   [] { return std::string("<!ENTITY % e SYSTEM 'http://127.0.0.1:1/'>%e;"); });
    list.declaring("an unparsed entity", value("&e;"),
                   [] { return std::string("<!NOTATION n SYSTEM 'n'><!ENTITY e SYSTEM 'e' NDATA n>"); });
    list.declaring("deep groups", value("x"),
                   [] { return "<!ELEMENT a " + many(400'000, "(") + "b" + many(400'000, ")") + ">"; });
    list.declaring("groups left open", value("x"), [] { return "<!ELEMENT a " + full("("); });
    list.declaring("a long choice", value("x"), [] { return "<!ELEMENT a (b" + full("|b") + ")>"; });
    list.declaring("a long enumeration", value("x"), [] { return "<!ATTLIST a b (c" + full("|c") + ") #IMPLIED>"; });
    list.declaring("many notations", value("x"), [] {
        return counted([](std::size_t i) { return "<!NOTATION n" + std::to_string(i) + " PUBLIC ''>"; });
    });
    list.declaring("a section to be ignored", value("x"), [] { return "<![IGNORE[" + full("<![") + "]]>"; });
    list.declaring("comments", value("x"), [] { return full("<!---->"); });
    list.declaring("instructions", value("x"), [] { return full("<?a?>"); });
    list.declaring("nothing", value("x"), [] { return std::string(); });
    list.declaring("an entity and a bad i8", value(bad), [] { return std::string("<!ENTITY e 'x'>"); });
    list.add("a second document type", [](const Place& place) {
        return place.declaration + "<!DOCTYPE a>" + documentType(place.root, tenfold(9)) + place.before + value("&e9;")
               + place.after;
    });
    list.add("a document type left open", [](const Place& place) {
        return place.declaration + "<!DOCTYPE " + place.root + " [" + full("<!ENTITY e ''>");
    });
    list.add("a document type after the root",
             [](const Place& place) { return place.around(value("x")) + documentType(place.root, tenfold(9)); });
    list.add("a document type elsewhere and within", [](const Place& place) {
        return place.declaration + "<!DOCTYPE " + place.root + " PUBLIC \"-//x//[\" 'file:///dev/zero' [" + tenfold(9)
               + "]>" + place.before + value("&e9;") + place.after;
    });

    list.begin("DocumentTypesElsewhere", Due::anything);
    for (const std::string id : {"", " SYSTEM 'file:///dev/zero'", " SYSTEM 'http://127.0.0.1:1/x.dtd'",
                                 " PUBLIC '-//x//y' '/dev/random'", " SYSTEM ''", " SYSTEM '[]>'"})
        list.add("document type" + id, [id](const Place& place) {
            return place.declaration + "<!DOCTYPE " + place.root + id + ">" + place.before + value("&e;") + place.after;
        });
    list.add("a document type of a long name", [](const Place& place) {
        return place.declaration + "<!DOCTYPE " + full("a") + ">" + place.before + value("x") + place.after;
    });
    list.add("a document type of a long identifier", [](const Place& place) {
        return place.declaration + "<!DOCTYPE a SYSTEM '" + full("a") + "'>" + place.before + value("x") + place.after;
    });
}

// Colliding names ----------------------------------------------------------------------------------------------------

void addCollidingNames(List& list)
{
    list.begin("CollidingNames", Due::anything);
    list.holding("elements", [] { return counted([](std::size_t i) { return "<" + colliding(i) + "/>"; }); });
    list.holding("elements with ends",
                 [] { return counted([](std::size_t i) { return "<" + colliding(i) + "></" + colliding(i) + ">"; }); });
    list.holding("elements in a value",
                 [] { return value(counted([](std::size_t i) { return "<" + colliding(i) + "/>"; })); });
    list.holding("elements, each in the next", [] {
        std::string open, close;
        for (std::size_t i = 0; i < 900; ++i) {
            open += "<" + colliding(i) + ">";
            close = "</" + colliding(i) + ">" + close;
        }
        return open + close;
    });
    list.holding("elements with a prefix",
                 [] { return counted([](std::size_t i) { return "<ex:" + colliding(i) + "/>"; }); });
    list.holding("attributes of one element",
                 [] { return "<value" + counted([](std::size_t i) { return " " + colliding(i) + "=''"; }) + "/>"; });
    list.holding("attributes of many elements",
                 [] { return counted([](std::size_t i) { return "<value " + colliding(i) + "=''/>"; }); });
    list.holding("attributes with a prefix",
                 [] { return "<value" + counted([](std::size_t i) { return " ex:" + colliding(i) + "=''"; }) + "/>"; });
    list.holding("declared prefixes", [] {
        return "<value" + counted([](std::size_t i) { return " xmlns:" + colliding(i) + "='u'"; }) + "/>";
    });
    list.holding("members", [] {
        return value(structure(
            counted([](std::size_t i) { return "<member><name>" + colliding(i) + "</name><value/></member>"; })));
    });
    list.holding("members of long names", [] {
        return value(structure(counted([](std::size_t i) {
            return "<member><name>" + many(60, "a") + colliding(i) + "</name><value/></member>";
        })));
    });
    list.holding("members of several structures", [] {
        return many(4, value(structure(counted(
                           [](std::size_t i) { return "<member><name>" + colliding(i) + "</name><value/></member>"; },
                           240'000))));
    });
    list.holding("members of one name",
                 [] { return value(structure(full("<member><name>a</name><value/></member>"))); });
    list.holding("members of different names", [] {
        return value(structure(
            counted([](std::size_t i) { return "<member><name>" + std::to_string(i) + "</name><value/></member>"; })));
    });
    list.holding("members without a name", [] { return value(structure(full("<member><name/><value/></member>"))); });
    list.holding("elements of different names",
                 [] { return counted([](std::size_t i) { return "<a" + std::to_string(i) + "/>"; }); });
    list.holding("attributes of different names", [] {
        return "<value" + counted([](std::size_t i) { return " a" + std::to_string(i) + "=''"; }) + "/>";
    });
}

// Moments ------------------------------------------------------------------------------------------------------------

void addMoments(List& list)
{
    const auto moment = [](const std::string& text) { return value(element("dateTime.iso8601", text)); };
    list.begin("Moments", Due::anything);
    for (const char* const text : {"20260101T00:00:00", "20260101T000000Z", "2026-01-01T00:00:00.123456",
                                   "20260101T000000+0100", "00000000T00:00:00", "99999999T99:99:99"})
        list.add(std::string("thousands of ") + text,
                 [=](const Place& place) { return place.around(full(moment(text))); });
    list.add("thousands in an array",
             [=](const Place& place) { return place.around(value(array(full(moment("20260101T00:00:00"))))); });
    list.add("thousands in a structure", [=](const Place& place) {
        return place.around(
            value(structure(full(element("member", element("name", "a") + moment("20260101T00:00:00"))))));
    });
    list.holding("at the bottom of arrays", [] {
        return many(58, "<value><array><data>") + value(element("dateTime.iso8601", "20260101T00:00:00Z"))
               + many(58, "</data></array></value>");
    });
    list.add("thousands with blanks in their tags", [](const Place& place) {
        return place.around(full(value("<dateTime.iso8601\n>20260101T00:00:00</dateTime.iso8601 >")));
    });
    list.add("thousands as character data",
             [=](const Place& place) { return place.around(full(moment("<![CDATA[20260101T00:00:00]]>"))); });
    list.add("thousands of which the last is bad", [=](const Place& place) {
        return place.around(full(moment("20260101T00:00:00"), 900'000) + moment("x"));
    });
    for (const char* const text : {"", "x", "2026", "20260101", "20260101T", "20260101T00:00:00.",
                                   "20260101T00:00:00Zx", "20260132T25:61:61", "-0260101T00:00:00",
                                   "\xE2\x80\x8F"
                                   "20260101T00:00:00"})
        list.add(std::string("moment of '") + text + "'",
                 [=](const Place& place) { return place.around(moment(text)); });
    list.add("a long fraction",
             [=](const Place& place) { return place.around(moment("20260101T00:00:00." + full("1"))); });
    list.add("a long fraction with a bad end",
             [=](const Place& place) { return place.around(moment("20260101T00:00:00." + full("1") + "x")); });
    list.add("a long year", [=](const Place& place) { return place.around(moment(full("1"))); });
    list.add("long blanks", [=](const Place& place) { return place.around(moment(full(" "))); });
}

// Encodings ----------------------------------------------------------------------------------------------------------

std::string asIs(const std::string& utf8)
{
    return utf8;
}

// Byte by byte, as Latin-1.
std::string widened(const std::string& text, bool bigEndian)
{
    std::string wide;
    wide.reserve(2 * text.size());
    for (const char c : text) {
        if (bigEndian)
            wide += '\0';
        wide += c;
        if (!bigEndian)
            wide += '\0';
    }
    return wide;
}

const std::string littleMark = "\xFF\xFE";
const std::string bigMark = "\xFE\xFF";
const std::string utf8Mark = "\xEF\xBB\xBF";

std::string little(const std::string& text)
{
    return widened(text, false);
}

std::string big(const std::string& text)
{
    return widened(text, true);
}

void addMarks(List& list)
{
    const auto plain = [](const Place& place, std::string_view values) {
        return place.before + std::string(values) + place.after;
    };
    list.begin("WideCharacters", Due::refusal);
    for (const std::string& inner : {value("x"), value(bad), value("<i8>1</i8>")}) {
        const std::string with = " with " + inner;
        list.add("UTF-8 mark" + with, [=](const Place& place) { return utf8Mark + place.around(inner); });
        list.add("UTF-8 mark, undeclared" + with, [=](const Place& place) { return utf8Mark + plain(place, inner); });
        list.add("little mark" + with, [=](const Place& place) { return littleMark + little(place.around(inner)); });
        list.add("big mark" + with, [=](const Place& place) { return bigMark + big(place.around(inner)); });
        list.add("little, no mark" + with, [=](const Place& place) { return little(place.around(inner)); });
        list.add("big, no mark" + with, [=](const Place& place) { return big(place.around(inner)); });
        list.add("little mark, odd byte" + with,
                 [=](const Place& place) { return littleMark + little(place.around(inner)) + "\n"; });
        list.add("big mark, odd byte" + with,
                 [=](const Place& place) { return bigMark + big(place.around(inner)) + std::string(1, '\0'); });
        list.add("little mark, last byte missing" + with, [=](const Place& place) {
            std::string bytes = littleMark + little(place.around(inner));
            bytes.pop_back();
            return bytes;
        });
        list.add("wrong mark" + with, [=](const Place& place) { return bigMark + little(place.around(inner)); });
        for (const char* const name : {"UTF-16", "utf-16", "UTF-16LE", "UTF-16BE"}) {
            const std::string declaration = std::string("<?xml version='1.0' encoding='") + name + "'?>";
            const std::string declaring = std::string(" after declaring ") + name;
            list.add("plain" + declaring + with, [=](const Place& place) { return declaration + plain(place, inner); });
            list.add("little" + declaring + with,
                     [=](const Place& place) { return declaration + little(plain(place, inner)); });
            list.add("big" + declaring + with,
                     [=](const Place& place) { return declaration + big(plain(place, inner)); });
            list.add("big, odd byte" + declaring + with,
                     [=](const Place& place) { return declaration + big(plain(place, inner)) + "\n"; });
        }
    }
    const std::string wideDeclaration = "<?xml version='1.0' encoding='UTF-16'?>";
    list.add("little mark and declared",
             [=](const Place& place) { return littleMark + little(wideDeclaration + plain(place, value(bad))); });
    list.add("declared UTF-8 but big", [=](const Place& place) {
        return bigMark + big("<?xml version='1.0' encoding='UTF-8'?>" + plain(place, value("x")));
    });
    list.add("lone surrogates", [=](const Place& place) {
        return bigMark + big(place.declaration + place.before) + "\xD8\x41" + "\xDC\x41" + "\xDC\x41"
               + big(place.after);
    });
    list.add("a surrogate at the end",
             [=](const Place& place) { return bigMark + big(place.around(value("x"))) + "\xD8\x41"; });
    list.add("half a surrogate at the end",
             [=](const Place& place) { return bigMark + big(place.around(value("x"))) + "\xD8"; });
    list.add("wide text of a megabyte",
             [=](const Place& place) { return littleMark + little(place.around(full("x", 450'000))); });
    list.add("wide elements left open",
             [=](const Place& place) { return littleMark + little(place.around(full("<a>", 450'000))); });
    list.add("UTF-8 mark before blanks and a declaration",
             [=](const Place& place) { return utf8Mark + " " + place.around(value("x")); });
    list.add("UTF-8 mark twice", [=](const Place& place) { return utf8Mark + utf8Mark + place.around(value("x")); });
    list.add("UTF-8 mark and a document type", [=](const Place& place) {
        return utf8Mark + documentType(place.root, tenfold(9)) + plain(place, value("&e9;"));
    });
    list.add("UTF-8 mark and elements left open",
             [=](const Place& place) { return utf8Mark + place.around(full("<a>")); });
    list.add("UTF-32, little", [=](const Place& place) { return little(little(place.around(value("x")))); });
    list.add("UTF-32, big", [=](const Place& place) { return big(big(place.around(value("x")))); });
    list.whole("nothing but a UTF-8 mark", utf8Mark);
    list.whole("nothing but a little mark", littleMark);
    list.whole("nothing but a big mark", bigMark);
    list.whole("half a mark", "\xFF");
    list.whole("the other half of a mark", "\xFE");
    list.whole("two thirds of a mark", "\xEF\xBB");
    list.whole("a little mark and one byte", littleMark + "<");
    list.whole("a big mark and one byte", bigMark + "<");
    list.whole("a mark and a zero byte", utf8Mark + std::string(1, '\0'));
    list.whole("one zero byte and a bracket", std::string("\0<", 2));
    list.whole("a bracket and a zero byte", std::string("<\0", 2));
    list.whole("one byte", "<");

    list.begin("DeclaredEncodings", Due::anything);
    for (const std::string& name :
         words("x UTF-8 utf8 UTF-7 UTF-32 UCS-2 UCS-4 ISO-10646-UCS-2 ISO-8859-1 ISO-8859-15 latin1 US-ASCII "
               "windows-1252 IBM037 EBCDIC-CP-US GB18030 Shift_JIS ../../../etc/passwd -UTF-8 UTF-8&#0; %s%n",
               {"", "iso-8859-1 "}))
        for (const std::string& inner : {value("\xC3\xA9\xE2\x82\xAC"), value("<i8>\xE9</i8>")})
            list.declared(std::string("declared '") + name + "' with " + inner,
                          std::string("<?xml version=\"1.0\" encoding=\"") + name + "\"?>", inner);
    list.declared("a long name", "<?xml version='1.0' encoding='" + many(60'000, "a") + "'?>");
    list.declared("a very long name", "<?xml version='1.0' encoding='" + full("a") + "'?>");
    list.declared("no quotes", "<?xml version='1.0' encoding=UTF-8?>");
    list.declared("other quotes", "<?xml version='1.0' encoding='UTF-8\"?>");
    list.declared("no end", "<?xml version='1.0' encoding='UTF-8'");
    list.declared("twice", "<?xml version='1.0' encoding='UTF-8' encoding='ISO-8859-1'?>");
    list.declared("no version", "<?xml encoding='UTF-8'?>");
    list.declared("another version", "<?xml version='1.1' encoding='UTF-8'?>");
    list.declared("a version in words", "<?xml version='" + many(60'000, "1") + "'?>");
    list.declared("standing alone", "<?xml version='1.0' standalone='perhaps'?>");
    list.declared("after a blank", " <?xml version='1.0' encoding='ISO-8859-1'?>");
    list.declared("declared twice", "<?xml version='1.0'?><?xml version='1.0' encoding='UTF-16'?>");
    list.declared("in capitals", "<?XML version='1.0' encoding='UTF-16'?>");
    list.declared("a zero byte in the name", std::string("<?xml version='1.0' encoding='UTF\0-16'?>", 39));
    list.declared("an empty declaration", "<?xml?>");
}

// Invalid UTF-8 ------------------------------------------------------------------------------------------------------

void addBytes(List& list)
{
    list.begin("LeadBytes", Due::refusal);
    const std::string ends[] = {"-->", "]]>", "?>", "\"", "'", ">", "/>", "<", ";"};
    for (const std::string lead : {"\xC3", "\xE2", "\xF0", "\xE2\x82", "\xF0\x90", "\xF0\x90\x80"}) {
        std::string name = "lead byte";
        for (const char c : lead)
            name += " " + std::to_string(static_cast<unsigned char>(c));
        const auto hidden = [&](const std::string& where, const std::string& xml) {
            list.holding(name + " " + where, value(xml));
        };
        hidden("before the end of a comment, i8 after it", "<!-- " + lead + "--><i8>x</i8><!-- -->");
        hidden("before the start of a comment, i8 within", lead + "<!-- <i8>x</i8> -->");
        hidden("before the end of character data, i8 after it", "<![CDATA[" + lead + "]]><i8>x</i8><![CDATA[]]>");
        hidden("before the start of character data, i8 within", lead + "<![CDATA[<i8>x</i8>]]>");
        hidden("before the end of an instruction, i8 after it", "<?a " + lead + "?><i8>x</i8><?a?>");
        hidden("before the end of an attribute, i8 after it", "<a b='" + lead + "'><i8>x</i8><c d=''/></a>");
        hidden("before the other end of an attribute", "<a b=\"" + lead + "\"><i8>x</i8><c d=\"\"/></a>");
        hidden("before a tag", lead + bad);
        hidden("before the end of a tag", "<a" + lead + "><i8>x</i8></a" + lead + ">");
        hidden("before the end of an empty tag", "<a" + lead + "/><i8>x</i8>");
        hidden("in an i8", "<i8>1" + lead + "</i8>");
        hidden("before a reference", lead + "&lt;<i8>x</i8>");
        hidden("in a reference", "&" + lead + ";<i8>x</i8>");
        list.add(name + " before elements left open",
                 [=](const Place& place) { return place.around("<!--" + lead + "-->" + full("<a>")); });
        list.add(name + " at the end", [=](const Place& place) { return place.around(value("x")) + lead; });
        list.add(name + " at the end of what there is",
                 [=](const Place& place) { return place.declaration + place.before + "<value>x" + lead; });
        list.add(name + " at the end of a comment that is not ended",
                 [=](const Place& place) { return place.declaration + "<!-- " + lead; });
    }
    for (const std::string& end : ends)
        list.holding("a lead byte of five before " + end, value("<a b='" + ("\xF8" + end) + "'/>"));

    list.begin("BrokenUtf8", Due::refusal);
    const std::pair<const char*, const char*> sequences[] = {
        {"a continuation byte alone", "\x80"},
        {"the last continuation byte alone", "\xBF"},
        {"overlong zero byte", "\xC0\x80"},
        {"overlong bracket of two", "\xC0\xBC"},
        {"overlong bracket of three", "\xE0\x80\xBC"},
        {"overlong bracket of four", "\xF0\x80\x80\xBC"},
        {"overlong last of two", "\xC1\xBF"},
        {"overlong last of three", "\xE0\x9F\xBF"},
        {"overlong last of four", "\xF0\x8F\xBF\xBF"},
        {"a high surrogate", "\xED\xA0\x80"},
        {"a low surrogate", "\xED\xBF\xBF"},
        {"a pair of surrogates", "\xED\xA0\x81\xED\xB0\x80"},
        {"beyond the last character", "\xF4\x90\x80\x80"},
        {"far beyond the last character", "\xF7\xBF\xBF\xBF"},
        {"five bytes", "\xF8\x88\x80\x80\x80"},
        {"six bytes", "\xFC\x84\x80\x80\x80\x80"},
        {"254", "\xFE"},
        {"255", "\xFF"},
        {"254 and 255", "\xFE\xFF"},
        {"too few of two", "\xC3"},
        {"too few of three", "\xE2\x82"},
        {"too few of four", "\xF0\x9F\x98"},
        {"the last noncharacter", "\xEF\xBF\xBF"},
        {"the last but one noncharacter", "\xEF\xBF\xBE"},
    };
    for (const auto& [what, bytes] : sequences) {
        const std::string name = what;
        const std::string text = bytes;
        list.holding(name + " in text", value(text));
        list.holding(name + " in an attribute", "<value a='" + text + "'/>");
        list.holding(name + " in a name", "<a" + text + "/>");
        list.holding(name + " in an i8", value("<i8>" + text + "</i8>"));
        list.add(name + ", a megabyte", [=](const Place& place) { return place.around(value(full(text))); });
    }
    list.begin("UnusualCharacters", Due::anything);
    for (const std::string text : {"\xF0\x9F\x98\x80", "\xF4\x8F\xBF\xBF", "\xEF\xBF\xBD", "\xE2\x80\xAE", "\xC2\x85",
                                   "\xE2\x80\xA8", "\xCC\x81"}) {
        list.holding("in text: " + text, value(text));
        list.holding("in an attribute: " + text, "<value a='" + text + "'/>");
        list.holding("in a name: " + text, "<a" + text + "/>");
        list.add("a megabyte: " + text, [=](const Place& place) { return place.around(value(full(text))); });
    }
}

void addControlCharacters(List& list)
{
    const std::string zero(1, '\0');
    list.begin("ControlCharacters", Due::refusal);
    list.holding("a zero byte in text", value("a" + zero + "b"));
    list.holding("a zero byte in an i8", value("<i8>1" + zero + "</i8>"));
    list.holding("a zero byte in the name of an i8", value("<i8" + zero + "></i8>"));
    list.holding("a zero byte in an attribute", "<value a='" + zero + "'/>");
    list.holding("a zero byte in a comment", value("<!--" + zero + "--><i8>x</i8>"));
    list.holding("a zero byte in character data", value("<![CDATA[" + zero + "]]><i8>x</i8>"));
    list.holding("a zero byte in an instruction", value("<?a " + zero + "?><i8>x</i8>"));
    list.holding("zero bytes", [] { return full(std::string_view("\0", 1)); });
    list.add("a zero byte before the document", [=](const Place& place) { return zero + place.around(value("x")); });
    list.add("a zero byte after the document", [=](const Place& place) { return place.around(value("x")) + zero; });
    list.add("a bad i8 after a zero byte",
             [=](const Place& place) { return place.declaration + zero + place.before + value(bad) + place.after; });
    list.whole("one zero byte", zero);
    list.whole("two zero bytes", zero + zero);
    list.whole("a megabyte of zero bytes", std::string(room, '\0'));
    for (const int code : {1, 8, 11, 12, 14, 31})
        list.holding("control character " + std::to_string(code), value(std::string(1, static_cast<char>(code))));
    for (const std::string reference :
         {"&#0;", "&#x0;", "&#1;", "&#x110000;", "&#xD800;", "&#xFFFF;", "&#xFFFFFFFF;", "&#4294967361;",
          "&#99999999999999999999;", "&#-1;", "&#;", "&#x;", "&;", "&", "&#", "&undefined;", "&#65", "&lt"}) {
        list.holding("reference " + reference, value(reference));
        list.holding("reference in an i8 " + reference, value("<i8>" + reference + "</i8>"));
        list.holding("reference in an attribute " + reference, "<value a='" + reference + "'/>");
    }
    list.holding("a reference of many digits", [] { return value("&#" + full("9") + ";"); });
    list.holding("a reference of a long name", [] { return value("&" + full("a") + ";"); });
}

// Number and length --------------------------------------------------------------------------------------------------

void addAbundance(List& list)
{
    list.begin(abundance, Due::anything);
    for (const std::string& unit :
         words("<a/> <a></a> <value/> <value>x</value> <value><i4>1</i4></value> <value><string/></value> "
               "<value><nil/></value> <value><i8>1</i8></value> <value><base64/></value> <value><struct/></value> "
               "<value><array><data/></array></value> <value><double>1</double></value> <param/> <member/> <i8>x</i8> "
               "<!----> <?a?> <![CDATA[]]> <![CDATA[x]]> x ] ]] ]]&gt; > - -- ' \" &amp; &#10; &#13; &lt;x \xC3\xA9 "
               "\xE2\x82\xAC < <! <!- <!-- <![CDATA[ <? </ </a> & &a <value = % %s %n",
               {"\n", "\r", "\r\n", "\t", "<?a ", "<a ", "<a b=", "<a b='", "<a\n"})) {
        list.add("full of " + unit, [=](const Place& place) { return place.around(full(unit)); });
        list.add("a value full of " + unit, [=](const Place& place) { return place.around(value(full(unit))); });
    }
    list.add("an array full of values",
             [](const Place& place) { return place.around(value(array(full("<value/>")))); });
    list.add("an array full of integers",
             [](const Place& place) { return place.around(value(array(full("<value><i4>1</i4></value>")))); });
    list.add("an array full of empty arrays", [](const Place& place) {
        return place.around(value(array(full("<value><array><data/></array></value>"))));
    });
    list.add("an array full of empty structures",
             [](const Place& place) { return place.around(value(array(full("<value><struct/></value>")))); });
    for (const std::string& unit :
         words("<value><double>1e308</double></value> <value><double>-4.9e-324</double></value> "
               "<value><double>0.1</double></value> <value><array><data><value/></data></array></value> "
               "<value><struct><member><name/><value/></member></struct></value> <value><boolean>1</boolean></value> "
               "<value><ex:i8>1</ex:i8></value> <value><ex:nil/></value> <value><base64>AAAA</base64></value>"))
        list.add("an array full of " + unit,
                 [=](const Place& place) { return place.around(value(array(full(unit)))); });
    for (const std::string& unit : words("< & > ]> \x7F"))
        list.add("character data full of " + unit,
                 [=](const Place& place) { return place.around(value("<![CDATA[" + full(unit) + "]]>")); });
    list.add("a structure full of structures", [](const Place& place) {
        return place.around(value(structure(full("<member><name>a</name><value><struct/></value></member>"))));
    });
    for (const std::size_t length : {1'000u, 70'000u, 1'000'000u}) {
        const std::string of = " of " + std::to_string(length);
        list.add("a name" + of, [=](const Place& place) { return place.around("<" + many(length, "a") + "/>"); });
        list.add("a name with an end" + of, [=](const Place& place) {
            return place.around("<" + many(length / 2, "a") + "></" + many(length / 2, "a") + ">");
        });
        list.add("an attribute's name" + of,
                 [=](const Place& place) { return place.around("<value " + many(length, "a") + "=''/>"); });
        list.add("an attribute" + of,
                 [=](const Place& place) { return place.around("<value a='" + many(length, "b") + "'/>"); });
        list.add("a member's name" + of,
                 [=](const Place& place) { return place.around(value(structure(member(many(length, "a"), "")))); });
        list.add("a comment" + of,
                 [=](const Place& place) { return place.around("<!--" + many(length, "a") + "-->"); });
        list.add("a comment left open" + of,
                 [=](const Place& place) { return place.around("<!--" + many(length, "a")); });
        list.add("an instruction" + of,
                 [=](const Place& place) { return place.around("<?a " + many(length, "a") + "?>"); });
        list.add("an instruction's name" + of,
                 [=](const Place& place) { return place.around("<?" + many(length, "a") + "?>"); });
        list.add("character data" + of,
                 [=](const Place& place) { return place.around(value("<![CDATA[" + many(length, "a") + "]]>")); });
        list.add("character data of brackets" + of,
                 [=](const Place& place) { return place.around(value("<![CDATA[" + many(length, "]") + "]]>")); });
        list.add("a method's name" + of, [=](const Place& place) {
            return place.declaration + "<methodCall><methodName>" + many(length, "a")
                   + "</methodName><params/></methodCall>";
        });
        list.add("blanks in a tag" + of,
                 [=](const Place& place) { return place.around("<value" + many(length, " ") + "/>"); });
        list.add("blanks before the document" + of,
                 [=](const Place& place) { return many(length, " ") + place.before + value("x") + place.after; });
        list.add("blanks after the document" + of,
                 [=](const Place& place) { return place.around(value("x")) + many(length, "\n"); });
        list.add("references in an attribute" + of,
                 [=](const Place& place) { return place.around("<value a='" + full("&#9;", length) + "'/>"); });
        list.add("an unknown type" + of, [=](const Place& place) {
            return place.around(value("<" + many(length, "%n") + "x/>") + value("<" + many(length / 2, "a") + "/>"));
        });
    }
    list.add("an attribute twice", [](const Place& place) { return place.around("<value a='' a=''/>"); });
    list.add("an attribute many times",
             [](const Place& place) { return place.around("<value" + full(" a=''") + "/>"); });
    list.add("one long attribute of many",
             [](const Place& place) { return place.around(full("<value a='" + many(1000, "b") + "'/>")); });
    list.add("more than a megabyte", [](const Place& place) { return place.around(value(many(1'100'000, "a"))); });
    list.add("four megabytes of elements left open",
             [](const Place& place) { return place.around(many(1'400'000, "<a>")); });
    list.add("four megabytes of bad i8", [](const Place& place) { return place.around(many(400'000, "<i8></i8>")); });
}

// Scalars ------------------------------------------------------------------------------------------------------------

void addScalars(List& list)
{
    list.begin("NoNumbers", Due::refusal);
    for (const char* const text :
         {"inf", "-inf", "+inf", "INF", "infinity", "-Infinity", "nan", "-nan", "NaN", "nan(1)"})
        list.holding(std::string("double of ") + text, value(element("double", text)));
    list.holding("double of inf in character data", value("<double><![CDATA[inf]]></double>"));
    list.holding("double of inf around a comment", value("<double>i<!-- -->nf</double>"));
    list.holding("double of inf in references", value("<double>&#105;&#110;&#102;</double>"));
    list.holding("double of inf with an attribute", value("<double\na='>'>inf</double\n>"));

    list.begin("Scalars", Due::anything);
    for (const std::string& text : words("1e308 -1e308 1e309 1e400 -1e400 1e-308 4.9e-324 1e-400 1e999999999999 "
                                         "1.7976931348623157e308 0x1p1023 0x1p3 0xA 1e e1 . -. - + 1,5 1.2.3 --1 1x "
                                         "%s%n -0 9007199254740993 123456789012345678901234567890 0.1 1E5 1e+05",
                                         {"", " ", " 1", "1 "}))
        list.holding("double of '" + text + "'", value(element("double", text)));
    for (const std::size_t digits : {40u, 309u, 310u, 1'000u, 100'000u, 1'000'000u}) {
        const std::string of = " of " + std::to_string(digits) + " digits";
        list.add("double" + of,
                 [=](const Place& place) { return place.around(value(element("double", many(digits, "9")))); });
        list.add("double with a fraction" + of,
                 [=](const Place& place) { return place.around(value(element("double", "0." + many(digits, "3")))); });
        list.add("tiny double" + of, [=](const Place& place) {
            return place.around(value(element("double", "0." + many(digits, "0") + "1")));
        });
        list.add("double with an exponent" + of,
                 [=](const Place& place) { return place.around(value(element("double", "1e" + many(digits, "9")))); });
        list.add("int" + of,
                 [=](const Place& place) { return place.around(value(element("int", many(digits, "9")))); });
        list.add("int of zeros" + of,
                 [=](const Place& place) { return place.around(value(element("i4", many(digits, "0")))); });
    }
    for (const std::string type : {"int", "i4", "i1", "i2", "ex:i1", "ex:i2", "boolean"})
        for (const std::string text : {"", "-", "2147483648", "-2147483649", "9223372036854775808", " 1", "1 ", "x",
                                       "0x1", "true", "2", "<![CDATA[1]]>", "<!-- -->1", "<i4>1</i4>", "%s%n"})
            list.holding(type + " of '" + text + "'", value(element(type, text)));
    for (const std::string type :
         {"nil", "ex:nil", "i3", "i16", "ex:float", "ex:dom", "string8", "I8", "Double", "ex:double", "ex:ex:i8"})
        for (const std::string text : {"", "x", "<i8>x</i8>", "<nil/>"})
            list.holding(type + " of '" + text + "'", value(element(type, text)));
    for (const std::string& text : words(
             "= ==== A AA AAA AAAAA A=== AA=A A=AA =AAA AAAA==== !!!! AA==AA== \xC3\xA9 <![CDATA[AAAA]]> &#65;AAA -_-_",
             {"AAA\n=", "AA<!-- -->AA", "AAAA AAAA"}))
        list.holding("base64 of '" + text + "'", value(element("base64", text)));
    for (const std::string unit : {"=", "A", "AAAA", "!", " ", "\n", "A=", "AA==\n"})
        list.add("base64 full of " + unit,
                 [=](const Place& place) { return place.around(value(element("base64", full(unit)))); });
    list.add("a string of a megabyte",
             [](const Place& place) { return place.around(value(element("string", full("a")))); });
    list.add("a fault of a megabyte", [](const Place& place) {
        return place.declaration
               + element(place.root, element("fault", value(structure(member("faultCode", "<i4>1</i4>")
                                                                      + member("faultString", full("%s"))))));
    });
}

// Shapes -------------------------------------------------------------------------------------------------------------

void addShapes(List& list)
{
    list.begin("Shapes", Due::anything);
    list.whole("an empty document", "");
    list.whole("blanks", " \r\n\t");
    list.whole("a comment", "<!-- -->");
    list.whole("a declaration", "<?xml version='1.0'?>");
    list.whole("a document type", "<!DOCTYPE a>");
    list.whole("words", "Internal server error");
    list.whole("a web page", "<!DOCTYPE html><html><head><meta charset=utf-8><body><p>No<br></html>");
    list.whole("JSON", R"({"jsonrpc": "2.0", "result": [0, {}], "id": 1})");
    for (const char* const root : {"a", "methodResponse", "methodCall", "MethodResponse", "params", "fault", "value",
                                   "i8", "x:methodResponse"}) {
        const std::string name = root;
        list.whole("empty " + name, "<" + name + "/>");
        list.whole("words in " + name, element(name, "x"));
        list.whole("i8 in " + name, element(name, bad));
    }
    const auto root = [&](const std::string& name, const std::string& content) {
        list.add(name, [=](const Place& place) { return place.declaration + element(place.root, content); });
    };
    const std::string one = element("param", value("<i4>1</i4>"));
    root("no parameter", "<params/>");
    root("a parameter of nothing", "<params><param/></params>");
    root("two parameters", element("params", one + one));
    root("two lists of parameters", element("params", one) + element("params", one));
    root("a parameter of two values", element("params", element("param", value("") + value(""))));
    root("an invalid parameter", element("params", element("member", value(""))));
    root("a method's name and no parameters", "<methodName>eco</methodName>");
    root("no name of a method", "<methodName/><params/>");
    root("two names of methods", "<methodName>eco</methodName><methodName>eco</methodName><params/>");
    root("elements in the name of a method", "<methodName>eco<i8>x</i8></methodName><params/>");
    for (const std::string name : {"", " ", "%s%n", "../../RPC2", "system.multicall", "system.methodSignature",
                                   "system.methodHelp", "system.listMethods", "system.shutdown", "eco\n",
                                   "\xE2\x82\xAC", "<![CDATA[eco]]>", "e<!-- -->co", "&#101;co"})
        root("the method '" + name + "'", element("methodName", name) + "<params/>");
    root("calls within a call",
         "<methodName>system.multicall</methodName>"
             + element("params",
                       element("param", value(array(full(value(structure(member("methodName", "system.listMethods")
                                                                         + member("params", array("")))),
                                                         200'000))))));
    root("calls within calls",
         "<methodName>system.multicall</methodName>"
             + element("params",
                       element("param", value(array(value(structure(
                                            member("methodName", "system.multicall")
                                            + member("params", array(value(array(value(structure(member(
                                                                   "methodName", "system.multicall"))))))))))))));
    root("calls that are none", "<methodName>system.multicall</methodName>"
                                    + element("params", element("param", value(array(value("<i4>1</i4>"))))));
    for (const std::string& content :
         words("x <value/> <value><i4>1</i4></value> <value><struct/></value> <value><array><data/></array></value> "
               "<value><struct><member><name>faultCode</name><value><i4>1</i4></value></member></struct></value> "
               "<value/><value/> <i8>x</i8>",
               {"",
                "<value><struct><member><name>faultCode</name><value>x</value></member><member><name>faultString</"
                "name><value/></member></struct></value>",
                "<value><struct><member><name>faultCode</name><value><i8>1</i8></value></"
                "member><member><name>faultString</"
                "name><value/></member></struct></value>",
                "<value><struct><member><name>faultCode</name><value><i4>1</i4></value></"
                "member><member><name>faultString</"
                "name><value><i4>1</i4></value></member></struct></value>",
                "<value><struct><member><name>faultCode</name><value><i4>0</i4></value></"
                "member><member><name>faultString</"
                "name><value/></member></struct></value>"}))
        root("a fault of " + content, element("fault", content));
    root("a fault and a result", "<fault/><params/>");
    for (const std::string& content :
         words("<array/> <array>x</array> <array><data/><data/></array> <array><value/></array> "
               "<array><data>x</data></array> <array><data><i4>1</i4></data></array> <struct><member/></struct> "
               "<struct><member><name>a</name></member></struct> <struct><member><value/></member></struct> "
               "<struct><member><name/><name/></member></struct> <struct><member><value/><value/></member></struct> "
               "<struct><member><value/><name>a</name></member></struct> "
               "<struct><member><name><i8>x</i8></name><value/></member></struct> "
               "<struct><member><name>a</name><value/><value/></member></struct> <struct><value/></struct> "
               "<struct>x</struct> <i4/><i4/> x<i4>1</i4>x <value/> <data/> <string><string/></string> <a <a> </a> "
               "<a></b> <1/> <-/> <:/> <a:/> <a:b:c/> ]]> <![CDATA[ <![cdata[x]]> <!---> <!x> <![INCLUDE[x]]> <?\?> "
               "<?xml?> <%a%>",
               {"<a b></a>", "<a b=c/>", "<a b='<'/>", "<a 'b'/>", "< a/>", "<a/ >", "<!-- -- -->", "<!-- --->",
                "<!DOCTYPE a>", "<!ENTITY a 'b'>", "<?xml version='1.0'?>", "<?XML x?>", "<? a?>"}))
        list.holding("a value of " + content, value(content));
    list.add("words after the root", [](const Place& place) { return place.around(value("x")) + "x"; });
    list.add("a tag after the root", [](const Place& place) { return place.around(value("x")) + "<"; });
    list.add("a second root", [](const Place& place) { return place.around(value("x")) + "<a/>"; });
    list.add("the document twice",
             [](const Place& place) { return place.around(value("x")) + place.around(value(bad)); });
    list.add("words before the root", [](const Place& place) { return "x" + place.around(value("x")); });
    list.add("a root that is ended twice",
             [](const Place& place) { return place.around(value("x")) + "</" + place.root + ">"; });
    list.add("character data after the root",
             [](const Place& place) { return place.around(value("x")) + "<![CDATA[x]]>"; });
    list.add("comments after the root", [](const Place& place) { return place.around(value("x")) + full("<!---->"); });
    list.add("instructions before the root", [](const Place& place) {
        return place.declaration + full("<?a?>") + place.before + value("x") + place.after;
    });
    list.add("a bad i8 and an error", [](const Place& place) { return place.around(value(bad)) + "<"; });
    for (const int part : {1, 2, 3, 4, 5, 6, 7, 8, 9})
        list.add("cut after " + std::to_string(part) + " tenths", [=](const Place& place) {
            const std::string all = place.around(value("<i8>12</i8>"));
            return all.substr(0, all.size() * static_cast<std::size_t>(part) / 10);
        });
    list.add("cut before the last byte", [](const Place& place) {
        std::string all = place.around(value("x"));
        all.pop_back();
        return all;
    });
}

std::vector<Document> allDocuments()
{
    List list;
    addLongIntegers(list);
    addDepth(list);
    addDocumentTypes(list);
    addCollidingNames(list);
    addMoments(list);
    addMarks(list);
    addBytes(list);
    addControlCharacters(list);
    addAbundance(list);
    addScalars(list);
    addShapes(list);
    return std::move(list.all);
}

// Inside a methodResponse or a methodCall.
Place reply(std::string name, std::string before, std::string after)
{
    return {std::move(name), "methodResponse", "<methodResponse>" + before, after + "</methodResponse>"};
}

Place request(std::string name, std::string before, std::string after)
{
    return {std::move(name), "methodCall", "<methodCall>" + before, after + "</methodCall>"};
}

const std::string beforeResult = "<params><param>";
const std::string afterResult = "</param></params>";
const std::string beforeElements = beforeResult + "<value><array><data>";
const std::string afterElements = "</data></array></value>" + afterResult;
const std::string beforeMember = "<value><struct><member><name>a</name>";
const std::string beforeMemberName = "<value><struct><member><name>";
const std::string afterMember = "</member></struct></value>";
const std::string beforeParameter = "<methodName>eco</methodName><params><param>";

} // namespace

const std::vector<Place>& replyPlaces()
{
    static const std::vector<Place> places{
        reply("a cell of a table",
              beforeElements
                  + "<value><i4>0</i4></value><value><array><data><value><array><data><value>a</value></data></array></"
                    "value><value><array><data>",
              "</data></array></value></data></array></value>" + afterElements),
        reply("a row of a table", beforeElements + "<value><i4>0</i4></value><value><array><data>",
              "</data></array></value>" + afterElements),
        reply("the result", beforeResult, afterResult),
        reply("the status", beforeElements, afterElements),
        reply("the second element", beforeElements + "<value><i4>0</i4></value>", afterElements),
        reply("a member", beforeElements + "<value><i4>0</i4></value>" + beforeMember, afterMember + afterElements),
        reply("a member's name", beforeElements + beforeMemberName, "</name><value/>" + afterMember + afterElements),
        reply("the fault's code", "<fault><value><struct><member><name>faultCode</name>",
              "</member><member><name>faultString</name><value>x</value></member></struct></value></fault>"),
        reply("the fault's text",
              "<fault><value><struct><member><name>faultCode</name><value><i4>-1</i4></value></"
              "member><member><name>faultString</name>",
              "</member></struct></value></fault>"),
        reply("beside the result", beforeResult + "<value/>" + afterResult, ""),
    };
    return places;
}

const std::vector<Place>& requestPlaces()
{
    static const std::vector<Place> places{
        request("an element", beforeParameter + "<value><array><data>", afterElements),
        request("a parameter", beforeParameter, afterResult),
        request("the second parameter", beforeParameter + "<value><i4>0</i4></value></param><param>", afterResult),
        request("a member", beforeParameter + beforeMember, afterMember + afterResult),
        request("a member's name", beforeParameter + beforeMemberName, "</name><value/>" + afterMember + afterResult),
        request("the method's name", "<methodName>", "</methodName><params/>"),
        request("beside the name", "", "<methodName>eco</methodName><params/>"),
        request("beside the parameters", "<methodName>eco</methodName><params/>", ""),
    };
    return places;
}

const std::vector<Document>& documents()
{
    static const std::vector<Document> all = allDocuments();
    return all;
}

std::vector<std::string> groups()
{
    std::vector<std::string> names;
    for (const Document& document : documents())
        if (names.empty() || names.back() != document.group)
            names.push_back(document.group);
    return names;
}

std::vector<std::string> groupsWithoutAbundance()
{
    std::vector<std::string> names = groups();
    std::erase(names, abundance);
    return names;
}

std::vector<Document> documentsOf(const std::string& group)
{
    const std::size_t step = group == abundance && slow() ? 12 : 1;
    std::vector<Document> found;
    std::size_t place = 0;
    for (const Document& document : documents())
        if (document.group == group && place++ % step == 0)
            found.push_back(document);
    return found;
}

Place Encoding::declaredIn(Place place) const
{
    place.declaration = "<?xml version='1.0'" + (declared.empty() ? "" : " encoding='" + declared + "'") + "?>";
    return place;
}

const std::vector<Encoding>& encodings()
{
    static const std::vector<Encoding> all{
        {"undeclared", "", asIs},
        {"UTF-8", "UTF-8", asIs},
        {"ISO-8859-1", "ISO-8859-1", asIs},
        {"US-ASCII", "US-ASCII", asIs},
        {"UTF-8 with a mark", "UTF-8", [](const std::string& text) { return utf8Mark + text; }},
        {"UTF-16, little", "UTF-16", [](const std::string& text) { return littleMark + little(text); }},
        {"UTF-16, big", "UTF-16", [](const std::string& text) { return bigMark + big(text); }},
        {"UTF-16, little, undeclared", "", [](const std::string& text) { return little(text); }},
        {"UTF-16, big, undeclared", "", [](const std::string& text) { return big(text); }},
        {"UTF-16 in name only", "UTF-16", asIs},
        {"UTF-16 once it is declared", "UTF-16",
         [](const std::string& text) {
             const std::size_t end = std::min(text.find("?>"), text.size() - 2) + 2;
             return text.size() < 2 ? text : text.substr(0, end) + big(text.substr(end));
         }},
        {"unknown", "windows-1252", asIs},
    };
    return all;
}

} // namespace hostile
