// Which documents the screen accepts and refuses.
#include "screen.h"

#include <string>
#include <type_traits>
#include <vector>

#include <expat.h>
#include <gtest/gtest.h>
#include <xmlrpc-c/base.h>

#include "hostile/texts.h"
#include "support/interpose.h"
#include "support/xml.h"

using hostile::many;
using nelka::reasonToRefuse;
using namespace support;

namespace {

std::string reason(const std::string& document)
{
    const char* const why = reasonToRefuse(document);
    return why ? why : "";
}

std::string reasonFor(const std::string& value)
{
    return reason(xml::response(value));
}

std::string member(const std::string& name)
{
    return "<member><name>" + name + "</name><value/></member>";
}

std::string nestedValues(std::size_t elements)
{
    return many(elements / 3, "<value><array><data>") + many(elements / 3, "</data></array></value>");
}

const std::string date = "<value><dateTime.iso8601>20000101T00:00:00</dateTime.iso8601></value>";

// Not in an ordinary document, so that expat reads the document.
const std::string comment = "<!-- a remark -->";

bool parserCanBeHad = true;

} // namespace

#pragma GCC visibility push(default)
extern "C" XML_Parser XML_ParserCreate(const XML_Char* encoding)
{
    return parserCanBeHad ? next<std::remove_pointer_t<decltype(&XML_ParserCreate)>>("XML_ParserCreate")(encoding)
                          : nullptr;
}
#pragma GCC visibility pop

namespace {

TEST(Screen, RefusesInvalidI8)
{
    for (const std::string element : {"i8", "ex:i8"})
        for (const std::string text : {"", " ", "x", "1x", " 1", "1 ", "+-1", "-+1", "--1", "0x1", "1.0",
                                       "9223372036854775808", "-9223372036854775809"}) {
            const std::string value = "<value><" + element + ">" + text + "</" + element + "></value>";
            EXPECT_EQ(reasonFor(value), "an i8 that is not a 64-bit integer") << value;
            EXPECT_EQ(reasonFor(comment + value), "an i8 that is not a 64-bit integer") << value;
        }
    EXPECT_EQ(reasonFor("<value><i8/></value>"), "an i8 that is not a 64-bit integer");
    EXPECT_EQ(reasonFor("<value><i8 a='b'\n></i8></value>"), "an i8 that is not a 64-bit integer");
    EXPECT_EQ(reasonFor("<value><i8>1&#x20;</i8></value>"), "an i8 that is not a 64-bit integer");
    EXPECT_EQ(reasonFor("<value><i8>" + std::string(100, '1') + "</i8></value>"), "an i8 that is not a 64-bit integer");
}

TEST(Screen, AcceptsEveryI8)
{
    for (const std::string text : {"0", "-0", "+7", "007", "9223372036854775807", "-9223372036854775808", "1&#x38;",
                                   "1<!-- -->2", "<![CDATA[5]]>"})
        EXPECT_EQ(reasonFor("<value><i8>" + text + "</i8></value>"), "") << text;
}

TEST(Screen, RefusesInfinityAndNan)
{
    for (const std::string text : {"inf", "-INF", "Infinity", "nan", "NaN(1)", "i&#110;f", "<![CDATA[inf]]>"})
        EXPECT_EQ(reasonFor(xml::real(text)), "a double that is infinite or not a number") << text;
}

TEST(Screen, AcceptsEveryOtherDouble)
{
    for (const std::string text : {"0", "-1.5", "+1.5e300", "1e999", "0x1p3", "word"})
        EXPECT_EQ(reasonFor(xml::real(text)), "") << text;
}

TEST(Screen, RefusesInternalSubset)
{
    const std::string rest = xml::response("<value>&a;</value>").substr(std::string("<?xml version=\"1.0\"?>").size());
    EXPECT_EQ(reason("<!DOCTYPE a [<!ENTITY a 'b'>]>" + rest), "a document type with an internal subset");
}

TEST(Screen, RefusesWhatParsersReadDifferently)
{
    const std::string document = xml::response(xml::i4(0));
    EXPECT_EQ(reason("\xEF\xBB\xBF" + document), "a byte-order mark");
    EXPECT_EQ(reason(document + std::string(1, '\0')), "a zero byte or a UTF-16 byte-order mark");
    EXPECT_EQ(reason("\xFE\xFF" + document), "a zero byte or a UTF-16 byte-order mark");
    EXPECT_EQ(reason("\xFF\xFE" + document), "a zero byte or a UTF-16 byte-order mark");
    EXPECT_NE(reasonFor("<value>\xE2--><!-- \xE2--><i8></i8><!-- --></value>"), "");
    EXPECT_NE(reasonFor("<value>\xC0\xBC</value>"), "");
    EXPECT_NE(reason("<?xml version='1.0' encoding='UTF-16'?><methodResponse/>"), "");
    EXPECT_NE(reasonFor("<i8>1</i8><value/x>"), "");
}

TEST(Screen, RefusesWhenOutOfMemory)
{
    parserCanBeHad = false;
    EXPECT_EQ(reasonFor(comment), "too little memory to check it");
    parserCanBeHad = true;
}

TEST(Screen, AcceptsHarmlessMalformedDocument)
{
    for (const std::string document :
         {"", "no XML", "<", "<value", "<value>", "</value>", "<a></b>", "<value/><value/>"})
        EXPECT_EQ(reason(document), "") << document;
}

TEST(Screen, AcceptsDocumentAboveSizeLimit)
{
    const std::string document(xmlrpc_limit_get(XMLRPC_XML_SIZE_LIMIT_ID) + 1, '\0');
    EXPECT_EQ(reason(document), "");
}

// Limits: each at its last value and one beyond, for the quick scan and for expat ----------------------------------

void expectLimit(const std::string& most, const std::string& more, const std::string& why)
{
    EXPECT_EQ(reason(most), "");
    EXPECT_EQ(reason(comment + most), "");
    EXPECT_EQ(reason(more), why);
    EXPECT_EQ(reason(comment + more), why);
}

TEST(Screen, BoundsOpenElements)
{
    expectLimit("<value>" + nestedValues(999) + "</value>", "<value><value>" + nestedValues(999) + "</value></value>",
                "too many nested elements");
}

TEST(Screen, AcceptsEmptyElementsWithoutParser)
{
    parserCanBeHad = false;
    EXPECT_EQ(reasonFor("<value><array><data>" + many(2000, "<value/>") + "</data></array></value>"), "");
    parserCanBeHad = true;
}

TEST(Screen, BoundsMembersOfStruct)
{
    const auto structure = [](const std::string& members) { return "<struct>" + members + "</struct>"; };
    const std::string most = structure(many(2000, member("a")));
    expectLimit("<value>" + most + most + "</value>", structure(many(2001, member("a"))),
                "too many members of a struct");
    const std::string around = "<member><name/><value>" + structure(member("a")) + "</value></member>";
    expectLimit(structure(many(2000, around)), structure(many(2001, around)), "too many members of a struct");
}

TEST(Screen, BoundsDates)
{
    expectLimit("<value>" + many(2000, date) + "</value>", "<value>" + many(2001, date) + "</value>", "too many dates");
}

TEST(Screen, BoundsNamesOfElements)
{
    expectLimit("<value>" + many(1000, "<a/>") + "</value>", "<value>" + many(1001, "<a/>") + "</value>",
                "too many names unknown to XML-RPC");
}

TEST(Screen, BoundsNamesOfAttributes)
{
    expectLimit("<value>" + many(1000, "<nil a=''/>") + "</value>", "<value>" + many(1001, "<nil a=''/>") + "</value>",
                "too many names unknown to XML-RPC");
}

TEST(Screen, BoundsLengthOfNames)
{
    const std::string name(100, 'a');
    expectLimit("<value><" + name + "/></value>", "<value><" + name + "a/>" + std::string(3000, ' ') + "</value>",
                "too long a name");
}

TEST(Screen, DoesNotCountExtensionNamespace)
{
    EXPECT_EQ(reason("<value>" + many(5000, "<ex:nil xmlns:ex='e'/>") + "</value>"), "");
}

// "" if xmlrpc-c reads the document.
std::string unreadable(const std::string& document)
{
    xmlrpc_env env;
    xmlrpc_env_init(&env);
    xmlrpc_value* result = nullptr;
    int code = 0;
    const char* text = nullptr;
    xmlrpc_parse_response2(&env, document.data(), document.size(), &result, &code, &text);
    const std::string why = env.fault_occurred ? env.fault_string : "";
    if (result)
        xmlrpc_DECREF(result);
    xmlrpc_env_clean(&env);
    return why;
}

TEST(Screen, AcceptsLargestTable)
{
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, 1048576);
    const std::string row =
        xml::structure({{"id", xml::i8(1)}, {"nombre", xml::text("canal")}, {"nivel", xml::real("1.5")}});
    const std::string table = xml::array(std::vector<std::string>(1040000 / row.size(), row));
    EXPECT_EQ(reasonFor(table), "");
    EXPECT_EQ(unreadable(xml::response(table)), "");
}

} // namespace
