// What the look at a document lets through, and what it does not.
#include "screen.h"

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <xmlrpc-c/base.h>

#include "support/xml.h"

using nelka::reasonToRefuse;
using namespace support;

namespace {

std::string repeated(const std::string& part, int times)
{
    std::string all;
    while (times-- > 0)
        all += part;
    return all;
}

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

std::string nestedValues(int elements)
{
    return repeated("<value><array><data>", elements / 3) + repeated("</data></array></value>", elements / 3);
}

const std::string date = "<value><dateTime.iso8601>20000101T00:00:00</dateTime.iso8601></value>";
const std::string declaredLatin1 = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";

// Long enough that a glance does not suffice.
const std::string comment = "<!-- a remark -->";

TEST(Screen, RefusesAnI8ThatIsNoNumber)
{
    for (const std::string element : {"i8", "ex:i8"})
        for (const std::string text : {"", " ", "x", "1x", " 1", "1 ", "+-1", "-+1", "--1", "0x1", "1.0",
                                       "9223372036854775808", "-9223372036854775809"}) {
            const std::string value = "<value><" + element + ">" + text + "</" + element + "></value>";
            EXPECT_EQ(reasonFor(value), "an i8 that is no 64-bit integer") << value;
            EXPECT_EQ(reasonFor(comment + value), "an i8 that is no 64-bit integer") << value;
        }
    EXPECT_EQ(reasonFor("<value><i8/></value>"), "an i8 that is no 64-bit integer");
    EXPECT_EQ(reasonFor("<value><i8 a='b'\n></i8></value>"), "an i8 that is no 64-bit integer");
    EXPECT_EQ(reasonFor("<value><i8>1&#x20;</i8></value>"), "an i8 that is no 64-bit integer");
    EXPECT_EQ(reasonFor("<value><i8>" + std::string(100, '1') + "</i8></value>"), "an i8 that is no 64-bit integer");
}

TEST(Screen, LetsEveryI8Through)
{
    for (const std::string text : {"0", "-0", "+7", "007", "9223372036854775807", "-9223372036854775808", "1&#x38;",
                                   "1<!-- -->2", "<![CDATA[5]]>"})
        EXPECT_EQ(reasonFor("<value><i8>" + text + "</i8></value>"), "") << text;
}

TEST(Screen, RefusesADoubleThatIsInfiniteOrNoNumber)
{
    for (const std::string text : {"inf", "-INF", "Infinity", "nan", "NaN(1)", "i&#110;f", "<![CDATA[inf]]>"})
        EXPECT_EQ(reasonFor(xml::real(text)), "a double that is infinite or no number") << text;
}

TEST(Screen, LetsEveryOtherDoubleThrough)
{
    for (const std::string text : {"0", "-1.5", "+1.5e300", "1e999", "0x1p3", "word"})
        EXPECT_EQ(reasonFor(xml::real(text)), "") << text;
}

TEST(Screen, RefusesAnInternalSubset)
{
    const std::string rest = xml::response("<value>&a;</value>").substr(std::string("<?xml version=\"1.0\"?>").size());
    EXPECT_EQ(reason("<!DOCTYPE a [<!ENTITY a 'b'>]>" + rest), "a document type with an internal subset");
}

TEST(Screen, RefusesWhatTwoReadersCouldReadDifferently)
{
    const std::string document = xml::response(xml::i4(0));
    EXPECT_EQ(reason("\xEF\xBB\xBF" + document), "a byte-order mark");
    EXPECT_EQ(reason(document + std::string(1, '\0')), "a zero byte or the mark of UTF-16");
    EXPECT_EQ(reason("\xFE\xFF" + document), "a zero byte or the mark of UTF-16");
    EXPECT_EQ(reason("\xFF\xFE" + document), "a zero byte or the mark of UTF-16");
    EXPECT_NE(reasonFor("<value>\xE2--><!-- \xE2--><i8></i8><!-- --></value>"), "");
    EXPECT_NE(reasonFor("<value>\xC0\xBC</value>"), "");
    EXPECT_NE(reason("<?xml version='1.0' encoding='UTF-16'?><methodResponse/>"), "");
}

TEST(Screen, LeavesWhatIsMerelyMalformedToTheParser)
{
    for (const std::string document :
         {"", "no XML", "<", "<value", "<value>", "</value>", "<a></b>", "<value/><value/>"})
        EXPECT_EQ(reason(document), "") << document;
}

TEST(Screen, LetsADocumentThroughThatTheParserRefusesForItsSize)
{
    const std::string document(xmlrpc_limit_get(XMLRPC_XML_SIZE_LIMIT_ID) + 1, '\0');
    EXPECT_EQ(reason(document), "");
}

// Limits: each at its last value and one beyond, at a glance and with care -----------------------------------------

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
                "too many elements within one another");
}

TEST(Screen, BoundsTheMembersOfOneStruct)
{
    const auto structure = [](const std::string& members) { return "<struct>" + members + "</struct>"; };
    const std::string most = structure(repeated(member("a"), 2000));
    expectLimit("<value>" + most + most + "</value>", structure(repeated(member("a"), 2001)),
                "too many members of a struct");
    const std::string around = "<member><name/><value>" + structure(member("a")) + "</value></member>";
    expectLimit(structure(repeated(around, 2000)), structure(repeated(around, 2001)), "too many members of a struct");
}

TEST(Screen, BoundsDates)
{
    expectLimit("<value>" + repeated(date, 2000) + "</value>", "<value>" + repeated(date, 2001) + "</value>",
                "too many dates");
}

TEST(Screen, BoundsNamesOfElements)
{
    expectLimit("<value>" + repeated("<a/>", 1000) + "</value>", "<value>" + repeated("<a/>", 1001) + "</value>",
                "too many names that XML-RPC does not have");
}

TEST(Screen, BoundsNamesOfAttributes)
{
    expectLimit("<value>" + repeated("<nil a=''/>", 1000) + "</value>",
                "<value>" + repeated("<nil a=''/>", 1001) + "</value>", "too many names that XML-RPC does not have");
}

TEST(Screen, BoundsTheLengthOfAName)
{
    const std::string name(100, 'a');
    expectLimit("<value><" + name + "/></value>", "<value><" + name + "a/>" + std::string(3000, ' ') + "</value>",
                "too long a name");
}

TEST(Screen, CountsNoDeclarationOfTheExtensionNamespace)
{
    EXPECT_EQ(reason("<value>" + repeated("<ex:nil xmlns:ex='e'/>", 5000) + "</value>"), "");
}

// No false alarm ----------------------------------------------------------------------------------------------

// Documents that a marshaller may write: any type, encoding and layout.
class Marshaller {
public:
    explicit Marshaller(unsigned int seed) : random(seed) {}

    std::string document()
    {
        pretty = oneIn(3);
        remarks = oneIn(4);
        extended = oneIn(2);
        encoding = upTo(4);
        const std::string root = std::string("methodResponse")
                                 + (extended ? " xmlns:ex=\"http://ws.apache.org/xmlrpc/namespaces/extensions\"" : "");
        return declaration() + "\n<" + root + ">" + gap() + "<params>" + gap() + "<param>" + gap() + value(4) + gap()
               + "</param>" + gap() + "</params>" + gap() + "</methodResponse>" + gap();
    }

private:
    unsigned int upTo(unsigned int count) { return static_cast<unsigned int>(random() % count); }
    bool oneIn(unsigned int count) { return upTo(count) == 0; }

    std::string declaration()
    {
        switch (encoding) {
        case 0:
            return oneIn(2) ? "<?xml version='1.0' encoding='utf-8'?>" : "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
        case 1:
            return declaredLatin1;
        case 2:
            return "<?xml version='1.0' encoding=\"us-ascii\" standalone='yes'?>";
        default:
            return oneIn(2) ? "" : "<?xml version=\"1.0\"?>";
        }
    }

    std::string gap()
    {
        std::string between;
        if (pretty)
            between = oneIn(2) ? "\r\n  " : "\n\t";
        if (remarks && oneIn(5))
            between += oneIn(2) ? "<!-- <i8>no</i8> - -->" : "<?mark inf <i8>?>";
        return between;
    }

    std::string letter()
    {
        switch (upTo(12)) {
        case 0:
            return "&lt;";
        case 1:
            return "&#241;";
        case 2:
            return "&#x20AC;";
        case 3:
            return "<![CDATA[<i8>&]]>";
        case 4:
            return encoding == 1 ? "\xF1" : encoding == 2 ? "&amp;" : "\xC3\xB1";
        case 5:
            return encoding == 1 ? "\xFF" : encoding == 2 ? ">" : "\xE2\x82\xAC";
        default:
            return std::string(1, static_cast<char>('a' + upTo(26)));
        }
    }

    std::string text()
    {
        std::string letters;
        for (unsigned int left = upTo(12); left > 0; --left)
            letters += letter();
        return letters;
    }

    std::string typed(const std::string& type, const std::string& content)
    {
        return "<" + type + (oneIn(20) ? " " : "") + ">" + content + "</" + type + ">";
    }

    std::string integer(std::int64_t bound) { return std::to_string(static_cast<std::int64_t>(random()) % bound); }

    std::string scalar()
    {
        switch (upTo(extended ? 14 : 10)) {
        case 0:
            return typed("i4", integer(2147483647));
        case 1:
            return typed("int", integer(2147483647));
        case 2:
            return typed("i8", integer(INT64_MAX));
        case 3:
            return typed("boolean", oneIn(2) ? "1" : "0");
        case 4:
            return typed("double", integer(100000) + "." + std::to_string(upTo(1000000)));
        case 5:
            return typed("double", integer(9) + ".5e" + (oneIn(2) ? "-" : "+") + std::to_string(upTo(200)));
        case 6:
            return typed("dateTime.iso8601", "2026010" + std::to_string(1 + upTo(9)) + "T12:30:0" + integer(9).back());
        case 7:
            return typed("base64", xml::encodeBase64(std::string(upTo(200), '\xA5')));
        case 8:
            return oneIn(2) ? "<nil/>" : "<nil></nil>";
        case 9:
            return typed("string", text());
        case 10:
            return typed("ex:i8", integer(INT64_MAX));
        case 11:
            return typed("ex:i1", integer(127));
        case 12:
            return typed("ex:i2", integer(32767));
        default:
            return "<ex:nil/>";
        }
    }

    std::string value(unsigned int depth)
    {
        if (oneIn(12))
            return oneIn(2) ? "<value/>" : "<value>" + text() + "</value>";
        std::string content;
        const unsigned int form = depth > 0 ? upTo(3) : 2;
        for (unsigned int left = form == 2 ? 0 : upTo(6); left > 0; --left)
            content += gap()
                       + (form == 0 ? value(depth - 1)
                                    : "<member>" + gap() + "<name>" + text() + "</name>" + gap() + value(depth - 1)
                                          + gap() + "</member>");
        content += gap();
        if (form == 0)
            content = "<array>" + gap() + "<data>" + content + "</data>" + gap() + "</array>";
        else
            content = form == 1 ? "<struct>" + content + "</struct>" : scalar();
        return "<value>" + gap() + content + gap() + "</value>";
    }

    std::mt19937_64 random;
    bool pretty = false;
    bool remarks = false;
    bool extended = false;
    unsigned int encoding = 0;
};

// "" when xmlrpc-c reads the document.
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

TEST(Screen, RefusesNoneOfAHundredThousandLegalDocuments)
{
    Marshaller marshaller(20);
    for (int i = 0; i < 100000 && !HasFailure(); ++i) {
        const std::string document = marshaller.document();
        EXPECT_EQ(reason(document), "") << document;
        if (i % 10 == 0) {
            EXPECT_EQ(unreadable(document), "") << document;
        }
    }
}

TEST(Screen, LetsATableOfTheLargestSizeThrough)
{
    xmlrpc_limit_set(XMLRPC_XML_SIZE_LIMIT_ID, 1048576);
    const std::string row =
        xml::structure({{"id", xml::i8(1)}, {"nombre", xml::text("canal")}, {"nivel", xml::real("1.5")}});
    const std::string table = xml::array(std::vector<std::string>(1040000 / row.size(), row));
    EXPECT_EQ(reasonFor(table), "");
    EXPECT_EQ(unreadable(xml::response(table)), "");
}

} // namespace
