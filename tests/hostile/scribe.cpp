#include "scribe.h"

#include <cstdint>
#include <cstdio>

#include "support/xml.h"

namespace hostile {

namespace {

std::string utf8(char32_t character)
{
    const auto tail = [&](int shift) { return static_cast<char>(0x80 | (character >> shift & 0x3F)); };
    if (character < 0x80)
        return {static_cast<char>(character)};
    if (character < 0x800)
        return {static_cast<char>(0xC0 | character >> 6), tail(0)};
    if (character < 0x10000)
        return {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
    return {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
}

} // namespace

std::size_t Scribe::below(std::size_t bound)
{
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random);
}

template <typename... Texts>
std::string Scribe::oneOf(Texts... texts)
{
    const std::string all[] = {texts...};
    return all[below(sizeof...(texts))];
}

Scribe::Scribe(std::mt19937& lot, bool rareCharacters) : random(lot), rare(rareCharacters)
{
    charset = static_cast<Charset>(below(3));
    std::string encoding;
    if (charset == Charset::latin1)
        encoding = oneOf("ISO-8859-1", "iso-8859-1");
    else if (charset == Charset::ascii)
        encoding = oneOf("US-ASCII", "us-ascii", "UTF-8", "");
    else
        encoding = oneOf("UTF-8", "utf-8", "");
    const std::string quote = oneOf("'", "\"");
    if (!encoding.empty() || !oneIn(4)) {
        declaration = "<?xml version=" + quote + "1.0" + quote;
        if (!encoding.empty())
            declaration += " encoding=" + quote + encoding + quote;
        if (oneIn(8))
            declaration += " standalone=" + quote + "yes" + quote;
        declaration += oneOf("?>", " ?>") + oneOf("", "\n", "\r\n");
    }
    separator = oneOf("", "", "\n", "\r\n", "\n    ", "\n\t\t");
    comments = oneIn(5);
    sections = oneIn(5);
    references = oneIn(3);
    extensions = oneIn(3);
    bare = oneIn(4);
    blankEnd = oneOf("", " ");
}

std::string Scribe::request(const std::string& method)
{
    std::string values;
    for (std::size_t count = below(5); count > 0; --count)
        values += line(element("param", value(3)));
    return document("methodCall", line(element("methodName", method)) + line(element("params", values)));
}

std::string Scribe::reply()
{
    std::string values = line("<value><i4>0</i4></value>");
    for (std::size_t count = below(5); count > 0; --count)
        values += line(value(3));
    return document("methodResponse", parameters(element("value", array(values))));
}

std::string Scribe::fault()
{
    const std::string code = element("member", line("<name>faultCode</name>") + line("<value><int>-1</int></value>"));
    const std::string text = element("member", line("<name>faultString</name>") + line(element("value", anyText())));
    return document("methodResponse",
                    line(element("fault", element("value", element("struct", line(code) + line(text))))));
}

std::string Scribe::table(std::size_t size)
{
    std::string rows;
    while (rows.size() < size) {
        std::string cells;
        for (int column = 0; column < 5; ++column)
            cells += line(element("value", scalar()));
        rows += line(element("value", array(cells)));
    }
    return document("methodResponse", parameters(element("value", array(line("<value><i4>0</i4></value>")
                                                                        + line(element("value", array(rows)))))));
}

std::string Scribe::document(const std::string& root, const std::string& content)
{
    const std::string attributes = extensions ? " xmlns:ex=\"http://ws.apache.org/xmlrpc/namespaces/extensions\"" : "";
    return declaration + (comments ? "<!-- " + written(U"hecho a máquina") + " -->\n" : "") + "<" + root + attributes
           + ">" + content + separator + "</" + root + ">" + oneOf("", "\n", "\r\n");
}

std::string Scribe::element(const std::string& name, const std::string& content)
{
    if (content.empty() && oneIn(2))
        return "<" + name + blankEnd + "/>";
    return "<" + name + ">" + content + "</" + name + ">";
}

std::string Scribe::line(const std::string& content)
{
    std::string before = separator;
    if (comments && oneIn(10))
        before += oneOf("<!-- -->", "<!-- <i8>not one</i8> & <!DOCTYPE -->", "<!---->", "<?note a > b?>") + separator;
    return before + content;
}

std::string Scribe::parameters(const std::string& values)
{
    return line(element("params", line(element("param", line(values)))));
}

std::string Scribe::value(int depth)
{
    if (depth > 0 && oneIn(3)) {
        if (oneIn(2))
            return element("value", structure(depth));
        std::string values;
        for (std::size_t count = below(5); count > 0; --count)
            values += line(value(depth - 1));
        return element("value", array(values));
    }
    return element("value", scalar());
}

std::string Scribe::scalar()
{
    const std::string prefix = extensions ? "ex:" : "";
    switch (below(9)) {
    case 0:
        return element(oneOf("i4", "int"), std::to_string(static_cast<std::int32_t>(random())));
    case 1:
        return element(prefix + "i8", integer64());
    case 2:
        return element("boolean", oneOf("0", "1"));
    case 3:
        return element("double", real());
    case 4:
        return element("base64", base64());
    case 5:
        return element(prefix + "nil", "");
    case 6:
        return extensions || oneIn(2) ? element(prefix + oneOf("i1", "i2"), std::to_string(below(128)))
                                      : element("dateTime.iso8601", moment());
    default:
        return bare ? anyText() : element("string", anyText());
    }
}

std::string Scribe::integer64()
{
    const auto any = static_cast<std::int64_t>(std::uint64_t{random()} << 32 | random());
    switch (below(6)) {
    case 0:
        return oneOf("9223372036854775807", "-9223372036854775808", "0", "-1", "-0", "+1", "007");
    case 1:
        return std::to_string(any % 1000);
    default:
        return std::to_string(any);
    }
}

std::string Scribe::real()
{
    const double any = (below(2) ? 1 : -1) * static_cast<double>(random()) / static_cast<double>(below(100'000) + 1);
    char text[64];
    switch (below(5)) {
    case 0:
        return oneOf("0", "0.0", "-0.0", "1.", ".5", "+2.5", "1e16", "1e+16", "1E-05", "2.2250738585072014e-308");
    case 1:
        std::snprintf(text, sizeof text, "%.17g", any);
        return text;
    case 2:
        std::snprintf(text, sizeof text, "%e", any * 1e-9);
        return text;
    default:
        std::snprintf(text, sizeof text, "%f", any);
        return text;
    }
}

std::string Scribe::moment()
{
    return oneOf("20260131T23:59:59", "20260131T235959", "2026-01-31T23:59:59", "2026-01-31T23:59:59.123456",
                 "20260131T235959Z", "20260131T235959+0100");
}

// In lines, like Python, or in one piece.
std::string Scribe::base64()
{
    std::string bytes;
    for (std::size_t count = below(200); count > 0; --count)
        bytes += static_cast<char>(random());
    const std::string encoded = support::xml::encodeBase64(bytes);
    if (oneIn(2))
        return encoded;
    std::string lines = "\n";
    for (std::size_t at = 0; at < encoded.size(); at += 76)
        lines += encoded.substr(at, 76) + "\n";
    return lines;
}

std::string Scribe::array(const std::string& values)
{
    return element("array", line(element("data", values + separator)) + separator);
}

std::string Scribe::structure(int depth)
{
    std::string members;
    for (std::size_t count = below(6); count > 0; --count)
        members += line(element("member", line(element("name", anyText())) + line(value(depth - 1)) + separator));
    return element("struct", members + separator);
}

std::string Scribe::anyText()
{
    static const std::u32string alphabets[] = {
        U"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .,:;-_/\\%{}",
        U"<i8>x</i8> & ]] > \" ' <!DOCTYPE a [<!ENTITY e 'nan'>]> \t\n\r",
        U"áéíóúñÑüç¿¡ºª€àèò·\u0085\u00A0\u00AD\u00FF\u0100",
        U"Ελληνικά кириллица עברית العربية 中文 日本語 한국어 ไทย\u200D\u202E\uFEFF\uFFFD",
        U"\U0001F600\U0001F4FA\U00010000\U0010FFFF",
    };
    std::u32string text;
    for (std::size_t parts = below(4); parts > 0; --parts) {
        const std::u32string& alphabet = alphabets[below(rare ? 5 : 4)];
        for (std::size_t count = below(20); count > 0; --count)
            text += alphabet[below(alphabet.size())];
    }
    return written(text);
}

std::string Scribe::written(std::u32string_view text)
{
    // A CDATA section cannot contain references or its end mark.
    bool section = sections && text.find(U"]]>") == text.npos;
    for (const char32_t character : text)
        section = section && !(character == U'\r' || (character > 0x7F && charset != Charset::utf8));
    std::string all;
    for (const char32_t character : text)
        all += written(character, section);
    return section ? "<![CDATA[" + all + "]]>" : all;
}

std::string Scribe::written(char32_t character, bool verbatim)
{
    if (verbatim)
        return utf8(character);
    switch (character) {
    case U'&':
        return oneOf("&amp;", "&#38;");
    case U'<':
        return oneOf("&lt;", "&#x3C;");
    case U'>':
        return "&gt;";
    case U'"':
        return oneOf("\"", "&quot;");
    case U'\'':
        return oneOf("'", "&apos;");
    case U'\r':
        return oneOf("&#13;", "&#xD;", "&#x0d;");
    default:
        break;
    }
    if (character < 0x80 || (charset == Charset::utf8 && !references))
        return utf8(character);
    if (charset == Charset::latin1 && character < 0x100)
        return {static_cast<char>(character)};
    return "&#" + std::to_string(static_cast<std::uint32_t>(character)) + ";";
}

} // namespace hostile
