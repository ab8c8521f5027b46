// Writes legal documents as the marshallers of this world do, each in a hand that is drawn by lot.
#pragma once

#include <random>
#include <string>
#include <string_view>

namespace hostile {

class Scribe {
public:
    /// Without `rare` characters it keeps to those that xmlrpc-c takes, up to U+FFFD.
    explicit Scribe(std::mt19937& random, bool rare = true);

    /// A call of a method with some arguments, and a reply of a status and some more, or a fault.
    std::string request(const std::string& method);
    std::string reply();
    std::string fault();

    /// A reply of a status and a table of that many bytes or just above.
    std::string table(std::size_t size);

private:
    std::string document(const std::string& root, const std::string& content);
    std::string element(const std::string& name, const std::string& content);
    std::string line(const std::string& content); ///< as it is set off from its neighbours
    std::string parameters(const std::string& values);
    std::string value(int depth);
    std::string scalar();
    std::string integer64();
    std::string real();
    std::string moment();
    std::string base64();
    std::string array(const std::string& values);
    std::string structure(int depth);
    std::string anyText(); ///< a few characters, of several alphabets
    std::string written(std::u32string_view text);
    std::string written(char32_t character, bool verbatim);

    std::size_t below(std::size_t bound);
    bool oneIn(std::size_t count) { return below(count) == 0; }
    template <typename... Texts>
    std::string oneOf(Texts... texts);

    enum class Charset { ascii, latin1, utf8 };

    std::mt19937& random;
    const bool rare;
    std::string declaration;
    Charset charset = Charset::utf8;
    std::string separator;   ///< between elements
    bool comments = false;   ///< between elements, too
    bool sections = false;   ///< texts are CDATA
    bool references = false; ///< what is beyond ASCII is written as a reference
    bool extensions = false; ///< types that are not of XML-RPC have a prefix
    bool bare = false;       ///< strings have no element
    std::string blankEnd;    ///< of an empty element's tag
};

} // namespace hostile
