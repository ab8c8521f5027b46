#include <initializer_list>

#include "documents.h"
#include "support/xml.h"
#include "texts.h"

namespace hostile {

namespace {

using Then = Message::Then;

std::string message(const std::string& firstLine, const std::string& headers, const std::string& body)
{
    return firstLine + "\r\n" + headers + "\r\n" + body;
}

std::string length(const std::string& text)
{
    return "Content-Length: " + text + "\r\n";
}

// Wrong statements about a body's length.
const char* const lengths =
    "-1|-2147483648|0x10|1e3|| |+|10 10|10, 10|2147483648|4294967295|4294967297|9223372036854775807|"
    "9223372036854775808|18446744073709551616|99999999999999999999999999|ten|\xB2";

const std::initializer_list<const char*> chunks{
    "zz\r\nx\r\n0\r\n\r\n",
    "-1\r\nx\r\n0\r\n\r\n",
    "\r\n\r\n",
    "ffffffff\r\nx",
    "ffffffffffffffff\r\nx",
    "fffffffffffffffff\r\nx",
    "7fffffffffffffff\r\nx",
    "80000000\r\nx",
    "0x5\r\nhello\r\n0\r\n\r\n",
    "5\r\nhello0\r\n\r\n",
    "5\r\nhello world\r\n0\r\n\r\n",
    "5;a=\"\r\nhello\r\n0\r\n\r\n",
    " 5\r\nhello\r\n0\r\n\r\n",
    "5\nhello\n0\n\n",
    "0\r\n",
    "0\r\nno trailer\r\n\r\n",
    "5\r\nhel",
    "00000000000000000000000000000000000000005\r\nhello\r\n0\r\n\r\n",
};

} // namespace

std::vector<Message> brokenReplies()
{
    const std::string good = support::xml::response(support::xml::array({support::xml::i4(0)}));
    const std::string fine = "HTTP/1.1 200 OK";
    const std::string type = "Content-Type: text/xml\r\n";
    const std::string right = length(std::to_string(good.size()));
    std::vector<Message> all;
    const auto add = [&](const std::string& name, const std::string& bytes, Then then = Then::close) {
        all.push_back({name, bytes, then});
    };

    for (const std::string& line :
         words("HTTP HTTP/ HTTP/1.1 SSH-2.0-x %s%n \x16\x03\x01\x02\x01\x01\xFC\x03\x03",
               {"", " ", "HTTP/0.9 200 OK", "HTTP/1.1 ", "HTTP/1.1 2", "HTTP/1.1 20000 OK", "HTTP/1.1 -200 OK",
                "HTTP/1.1 000 OK", "HTTP/1.1 999 OK", "HTTP/1.1 OK", "HTTP/9.9 200 OK", "HTTP/2 200", "HTTP/3 200",
                "http/1.1 200 ok", "ICY 200 OK", "220 ready"}))
        add("status line '" + line + "'", message(line, right, good));
    for (const int status :
         {101, 201, 204, 205, 206, 301, 304, 307, 400, 401, 403, 407, 408, 413, 417, 426, 429, 500, 503})
        add("status " + std::to_string(status),
            message("HTTP/1.1 " + std::to_string(status) + " x",
                    right
                        + "Location: /RPC2\r\nRetry-After: 0\r\nUpgrade: h2c\r\nWWW-Authenticate: Basic "
                          "realm=x\r\nProxy-Authenticate: NTLM\r\n",
                    good));
    for (const std::string& text : betweenBars(lengths))
        add("a length of '" + text + "'", message(fine, type + length(text), good));
    add("a length too small", message(fine, type + length("10"), good));
    add("a length too small, and held", message(fine, type + length("10"), good), Then::hold);
    add("a length too great", message(fine, type + length("100000"), good));
    add("a length too great, and held", message(fine, type + length("100000"), good), Then::hold);
    add("a length of nothing", message(fine, type + length("0"), good));
    add("two lengths", message(fine, type + right + length("5"), good));
    add("no length", message(fine, type, good));
    add("no length, and held", message(fine, type, good), Then::hold);
    add("a length and chunks", message(fine, type + right + "Transfer-Encoding: chunked\r\n", good));
    for (const std::string chunk : chunks)
        add("chunk " + chunk, message(fine, type + "Transfer-Encoding: chunked\r\n", chunk));
    add("chunk without end", message(fine, type + "Transfer-Encoding: chunked\r\n", "5\r\nhel"), Then::hold);
    add("a long chunk extension",
        message(fine, type + "Transfer-Encoding: chunked\r\n", "5;" + many(500'000, "a") + "\r\nhello\r\n0\r\n\r\n"));
    add("chunks of a byte",
        message(fine, type + "Transfer-Encoding: chunked\r\n", many(200'000, "1\r\nx\r\n") + "0\r\n\r\n"));
    for (const std::string coding :
         {"gzip", "deflate", "br", "zstd", "identity", "chunked, chunked", "gzip, chunked", "x", ""}) {
        add("transfer coding " + coding, message(fine, type + "Transfer-Encoding: " + coding + "\r\n", good));
        add("content coding " + coding, message(fine, type + right + "Content-Encoding: " + coding + "\r\n", good));
    }
    // None begins with a blank: as the first header of a later reply it would make libcurl 7.88 append to freed memory.
    for (const std::string& header :
         words("x : Content-Length Content-Type:",
               {": x", "x y: z", "Connection: close, keep-alive, upgrade", "Trailer: x",
                "Location: http://127.0.0.1:1/", "Refresh: 0", "Strict-Transport-Security: max-age=99999999999",
                "Alt-Svc: h2=\":1\"; ma=999999", "Content-Range: bytes -1-0/0", "Keep-Alive: timeout=-1", "Date: %s%n",
                "Content-Type: text/xml; charset=\"utf-16"}))
        add("header " + header, message(fine, header + "\r\n" + right, good));
    add("a zero byte in a header", message(fine, std::string("X: a\0b\r\n", 9) + right, good));
    add("zero bytes in the status line", message(fine + std::string("\0\0", 2), right, good));
    add("lines that end in one character", "HTTP/1.1 200 OK\n" + right + "\n" + good);
    add("lines that end in the other", "HTTP/1.1 200 OK\r" + right + "\r" + good);
    add("a folded header", message(fine, "X: a\r\n b\r\n\tc\r\n" + right, good));
    add("a header of 90 kB", message(fine, "X: " + many(90'000, "a") + "\r\n" + right, good));
    add("a header of a megabyte", message(fine, "X: " + many(1'000'000, "a") + "\r\n" + right, good));
    add("many headers", message(fine, many(20'000, "X: a\r\n") + right, good));
    add("headers without end", fine + "\r\n" + many(100'000, "X: a\r\n"), Then::hold);
    add("a header without end", fine + "\r\nX: " + many(50'000, "a"), Then::hold);
    add("a status line without end", "HTTP/1.1 200 " + many(50'000, "a"), Then::hold);
    add("a status line of a megabyte", message(fine + many(1'000'000, "a"), right, good));
    add("many preliminary replies", many(10'000, "HTTP/1.1 100 Continue\r\n\r\n") + message(fine, type + right, good));
    add("nothing but preliminary replies", many(10'000, "HTTP/1.1 103 Early Hints\r\n\r\n"), Then::hold);
    add("nothing", "");
    add("no HTTP", good);
    add("a byte", "H", Then::hold);
    add("zero bytes", std::string(100'000, '\0'));
    add("blank lines", many(100'000, "\r\n"));
    add("two replies", message(fine, type + right, good) + message(fine, type + right, good));
    add("a reply and words", message(fine, type + right, good) + many(100'000, "x"));
    return all;
}

std::vector<Message> brokenRequests()
{
    const std::string good = support::xml::requestBody("eco", {"<i4>1</i4>"});
    const std::string fine = "POST /RPC2 HTTP/1.1";
    const std::string usual = "Host: x\r\nContent-Type: text/xml\r\n";
    const std::string right = length(std::to_string(good.size()));
    std::vector<Message> all;
    const auto add = [&](const std::string& name, const std::string& bytes, Then then = Then::close) {
        all.push_back({name, bytes, then});
    };

    for (const std::string& line :
         betweenBars("| |POST |POST /RPC2|POST  /RPC2  HTTP/1.1|POST /RPC2 HTTP|POST /RPC2 HTTP/|POST /RPC2 HTTP/1|"
                     "POST /RPC2 HTTP/0.9|POST /RPC2 HTTP/9.9|POST /RPC2 HTTP/99999999999.99999999999|"
                     "POST /RPC2 HTTP/-1.-1|POST /RPC2 HTTP/1.1 x|POST /RPC2 FTP/1.1|GET /RPC2|GET / HTTP/1.1|"
                     "HEAD /RPC2 HTTP/1.1|PUT /RPC2 HTTP/1.1|DELETE /RPC2 HTTP/1.1|OPTIONS * HTTP/1.1|"
                     "TRACE /RPC2 HTTP/1.1|CONNECT x:1 HTTP/1.1|PRI * HTTP/2.0|post /RPC2 HTTP/1.1|X /RPC2 HTTP/1.1|"
                     "POST RPC2 HTTP/1.1|POST // HTTP/1.1|POST /.. HTTP/1.1|POST /../../../etc/passwd HTTP/1.1|"
                     "GET /etc/passwd HTTP/1.1|GET /%2e%2e/%2e%2e/etc/passwd HTTP/1.1|POST /RPC2? HTTP/1.1|"
                     "POST /RPC2?a=b HTTP/1.1|POST /RPC2# HTTP/1.1|POST /% HTTP/1.1|POST /%0 HTTP/1.1|"
                     "POST /%zz HTTP/1.1|POST /%00 HTTP/1.1|POST /RPC2%00 HTTP/1.1|POST /%ff%fe HTTP/1.1|"
                     "POST /~x HTTP/1.1|POST /%s%n HTTP/1.1|POST http://x/RPC2 HTTP/1.1|"
                     "POST http://x:99999/RPC2 HTTP/1.1|POST http:// HTTP/1.1|POST http://[::1 HTTP/1.1|"
                     "POST http://u:p@x/RPC2 HTTP/1.1|POST ftp://x/ HTTP/1.1|EHLO x|POST|SSH-2.0-x|%s%n|"
                     "\x16\x03\x01\x02\x01\x01\xFC\x03\x03"))
        add("request line '" + line + "'", message(line, usual + right, good));
    for (const std::string& text : betweenBars(lengths))
        add("a length of '" + text + "'", message(fine, usual + length(text), good));
    add("a length too small", message(fine, usual + length("10"), good));
    add("a length too great", message(fine, usual + length("100000"), good));
    add("a length too great, and held", message(fine, usual + length("100000"), good), Then::hold);
    add("a length of a megabyte and nothing, held", message(fine, usual + length("1000000"), ""), Then::hold);
    add("a length of nothing", message(fine, usual + length("0"), good));
    add("two lengths", message(fine, usual + right + length("5"), good));
    add("no length", message(fine, usual, good));
    add("no length, and held", message(fine, usual, good), Then::hold);
    add("no headers", message(fine, "", good));
    for (const std::string chunk : chunks)
        add("chunk " + chunk, message(fine, usual + "Transfer-Encoding: chunked\r\n", chunk));
    for (const std::string& header :
         betweenBars(": x| x: y|x y: z|Connection: keep-alive|Connection: close, keep-alive, upgrade|"
                     "Expect: 100-continue|Expect: x|Host: |Host: :|Host: x:|Host: x:99999999999|Host: x:-1|Host: [|"
                     "Host: %s%n|Referer: \xFF|Cookie: a|Cookie: a=b; c|Cookie: =;=;|Authorization: Basic|"
                     "Authorization: Basic ====|Authorization: Basic !!!!|Authorization: Basic QQ|"
                     "Authorization: Basic QUFB|Authorization: Digest x|Authorization: NTLM x|Range: bytes=-|"
                     "Range: bytes=0-,0-,0-,0-|Range: bytes=5-1|Range: x|Range: bytes=99999999999999999999-|"
                     "If-Modified-Since: x|Date: %s%n|Accept-Encoding: gzip, deflate, br|Content-Encoding: gzip|"
                     "Transfer-Encoding: gzip, chunked|Upgrade: h2c|Content-Type: text/plain|"
                     "Content-Type: text/xml; charset=\"utf-16|Trailer: x|x|:|Content-Length|Connection:|Host:|"
                     "From:|User-Agent:|Authorization:|Content-Type:"))
        add("header " + header, message(fine, header + "\r\n" + usual + right, good));
    add("a content type of a megabyte",
        message(fine, "Content-Type: text/xml;" + many(1'000'000, "a") + "\r\n" + right, good));
    add("credentials of 90 kB",
        message(fine, usual + "Authorization: Basic " + many(90'000, "QUFB") + "\r\n" + right, good));
    add("a zero byte in a header", message(fine, std::string("X: a\0b\r\n", 9) + usual + right, good));
    add("a zero byte in the request line", message(std::string("POST /RPC2\0 HTTP/1.1", 20), usual + right, good));
    add("lines that end in one character",
        fine + "\n" + "Content-Type: text/xml\n" + length(std::to_string(good.size())) + "\n" + good);
    add("lines that end in the other", fine + "\rContent-Type: text/xml\r\r" + good);
    add("a folded header", message(fine, "X: a\r\n b\r\n\tc\r\n" + usual + right, good));
    add("a header of a megabyte", message(fine, "X: " + many(1'000'000, "a") + "\r\n" + usual + right, good));
    add("many headers", message(fine, many(20'000, "X: a\r\n") + usual + right, good));
    add("many headers of different names", [&] {
        std::string headers;
        for (int i = 0; i < 20'000; ++i)
            headers += "X" + std::to_string(i) + ": a\r\n";
        return message(fine, headers + usual + right, good);
    }());
    add("headers without end", fine + "\r\n" + many(5'000, "X: a\r\n"), Then::hold);
    add("a header without end", fine + "\r\nX: " + many(5'000, "a"), Then::hold);
    add("a request line without end", "POST /" + many(5'000, "a"), Then::hold);
    add("a path of a megabyte", message("POST /" + many(1'000'000, "a") + " HTTP/1.1", usual + right, good));
    add("a path of escapes", message("POST /" + many(100'000, "%41") + " HTTP/1.1", usual + right, good));
    add("a path of steps", message("POST " + many(30'000, "/..") + " HTTP/1.1", usual + right, good));
    add("a method of a megabyte", message(many(1'000'000, "A") + " /RPC2 HTTP/1.1", usual + right, good));
    add("a query of 90 kB", message("POST /RPC2?" + many(90'000, "a") + " HTTP/1.1", usual + right, good));
    add("a host of 90 kB", message(fine, "Host: " + many(90'000, "a") + "\r\n" + usual + right, good));
    add("nothing", "");
    add("nothing, and held", "", Then::hold);
    add("a byte, and held", "P", Then::hold);
    add("no HTTP", good);
    add("zero bytes", std::string(100'000, '\0'));
    add("blank lines", many(100'000, "\r\n"));
    add("blank lines before the request", many(10, "\r\n") + message(fine, usual + right, good));
    add("two requests", message(fine, usual + right, good) + message(fine, usual + right, good));
    add("a thousand requests", many(1'000, message(fine, usual + right, good)));
    add("a request and words", message(fine, usual + right, good) + many(100'000, "x"));
    add("a body of 4 MB", message(fine, usual + length("4000000"), many(4'000'000, "a")));
    add("a body of 4 MB that is not announced", message(fine, usual, many(4'000'000, "a")));
    return all;
}

} // namespace hostile
