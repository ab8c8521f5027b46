#include "xml.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace support::xml {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string element(const std::string& name, const std::string& content)
{
    return "<" + name + ">" + content + "</" + name + ">";
}

std::string value(const std::string& type, const std::string& content)
{
    return element("value", element(type, content));
}

std::string escaped(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '\r':
            out += "&#x0d;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string unescaped(std::string_view text)
{
    static constexpr std::array<std::pair<std::string_view, char>, 6> entities{
        {{"&lt;", '<'}, {"&gt;", '>'}, {"&amp;", '&'}, {"&quot;", '"'}, {"&apos;", '\''}, {"&#x0d;", '\r'}}};
    std::string out;
    while (!text.empty()) {
        bool entity = false;
        for (const auto& [name, c] : entities) {
            if (text.starts_with(name)) {
                out += c;
                text.remove_prefix(name.size());
                entity = true;
                break;
            }
        }
        if (entity)
            continue;
        out += text.front();
        text.remove_prefix(1);
    }
    return out;
}

class Reader {
public:
    explicit Reader(std::string_view text) : rest(text) {}

    void expect(std::string_view literal)
    {
        skipSpace();
        if (!rest.starts_with(literal))
            throw std::runtime_error("expected " + std::string(literal) + " at: " + std::string(rest.substr(0, 60)));
        rest.remove_prefix(literal.size());
    }

    bool accept(std::string_view literal)
    {
        skipSpace();
        if (!rest.starts_with(literal))
            return false;
        rest.remove_prefix(literal.size());
        return true;
    }

    std::string until(std::string_view literal)
    {
        const std::size_t end = rest.find(literal);
        if (end == std::string_view::npos)
            throw std::runtime_error("no " + std::string(literal));
        std::string text(rest.substr(0, end));
        rest.remove_prefix(end + literal.size());
        return text;
    }

private:
    void skipSpace() { rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size())); }

    std::string_view rest;
};

std::string scalar(Reader& reader)
{
    reader.expect("<value><");
    const std::string type = reader.until(">");
    const std::string content = reader.until("</" + type + ">");
    reader.expect("</value>");
    if (type == "base64")
        return type + " " + decodeBase64(content);
    return type + " " + unescaped(content);
}

} // namespace

std::string i4(std::int64_t number)
{
    return value("i4", std::to_string(number));
}

std::string i8(std::int64_t number)
{
    return value("i8", std::to_string(number));
}

std::string boolean(bool truth)
{
    return value("boolean", truth ? "1" : "0");
}

std::string real(const std::string& number)
{
    return value("double", number);
}

std::string text(std::string_view text)
{
    return value("string", escaped(text));
}

std::string base64(std::string_view bytes)
{
    return value("base64", encodeBase64(bytes));
}

std::string nil()
{
    return element("value", "<nil/>");
}

std::string structure(const std::vector<std::pair<std::string, std::string>>& members)
{
    std::string content;
    for (const auto& [name, member] : members)
        content += element("member", element("name", escaped(name)) + member);
    return value("struct", content);
}

std::string array(const std::vector<std::string>& values)
{
    std::string content;
    for (const std::string& item : values)
        content += item;
    return value("array", element("data", content));
}

std::string nested(int depth)
{
    std::string value = i4(0);
    for (int i = 0; i < depth; ++i)
        value = array({value});
    return value;
}

std::string response(const std::string& value)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
           + element("methodResponse", element("params", element("param", value))) + "\r\n";
}

std::string fault(int code, std::string_view reason)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
           + element("methodResponse",
                     element("fault", structure({{"faultCode", i4(code)}, {"faultString", text(reason)}})))
           + "\r\n";
}

std::string requestBody(const std::string& method, const std::vector<std::string>& parameters)
{
    std::string body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
                       "<methodCall>\r\n"
                       "<methodName>"
                       + method
                       + "</methodName>\r\n"
                         "<params>\r\n";
    for (const std::string& parameter : parameters)
        body += "<param><value>" + parameter + "</value></param>\r\n";
    return body
           + "</params>\r\n"
             "</methodCall>\r\n";
}

std::string post(const std::string& body, const std::string& path)
{
    return "POST " + path + " HTTP/1.1\r\nHost: x\r\nContent-Type: text/xml\r\nContent-Length: "
           + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string encodeBase64(std::string_view bytes)
{
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        for (std::size_t k = 0; k < 3; ++k)
            group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        for (std::size_t k = 0; k < 4; ++k)
            out += k <= count ? alphabet[group >> (18 - 6 * k) & 63] : '=';
    }
    return out;
}

std::string decodeBase64(std::string_view text)
{
    std::string out;
    std::uint32_t group = 0;
    int bits = 0;
    for (const char c : text) {
        const std::size_t digit = alphabet.find(c);
        if (digit == std::string_view::npos) {
            if (c == '=' || c == '\r' || c == '\n')
                continue;
            throw std::runtime_error("no base64 digit");
        }
        group = group << 6 | static_cast<std::uint32_t>(digit);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out += static_cast<char>(group >> bits & 255);
        }
    }
    return out;
}

Request parseRequest(std::string_view body)
{
    Reader reader(body);
    reader.expect("<?xml");
    reader.until("?>");
    reader.expect("<methodCall>");
    reader.expect("<methodName>");
    Request request;
    request.method = unescaped(reader.until("</methodName>"));
    reader.expect("<params>");
    while (reader.accept("<param>")) {
        request.parameters.push_back(scalar(reader));
        reader.expect("</param>");
    }
    reader.expect("</params>");
    reader.expect("</methodCall>");
    return request;
}

} // namespace support::xml
