// Writes and reads XML-RPC documents without xmlrpc-c.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace support::xml {

/// Values, each a whole <value> element.
std::string i4(std::int64_t number);
std::string i8(std::int64_t number);
std::string boolean(bool truth);
std::string real(const std::string& number);
std::string text(std::string_view text); ///< escaped
std::string base64(std::string_view bytes);
std::string nil();
std::string structure(const std::vector<std::pair<std::string, std::string>>& members);
std::string array(const std::vector<std::string>& values);
std::string nested(int depth); ///< an integer in that many arrays

/// Documents.
std::string response(const std::string& value);
std::string fault(int code, std::string_view reason);
/// As xmlrpc-c writes it, with the parameters as XML: requestBody("RdHora", {"<i4>1</i4>"}).
std::string requestBody(const std::string& method, const std::vector<std::string>& parameters);
/// An HTTP request with this body.
std::string post(const std::string& body, const std::string& path = "/RPC2");

std::string encodeBase64(std::string_view bytes);
std::string decodeBase64(std::string_view text);

/// A parsed request.
struct Request {
    std::string method;
    /// One text per parameter: its type and its value, as in "i4 10", "boolean 1", "string abc", "base64 " followed by
    /// the decoded bytes.
    std::vector<std::string> parameters;
};

/// Throws std::runtime_error unless `body` is a methodCall with scalars.
Request parseRequest(std::string_view body);

} // namespace support::xml
