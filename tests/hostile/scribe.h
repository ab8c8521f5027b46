// Writes legal documents in the styles of real marshallers, each in a random style.
#pragma once

#include <random>
#include <string>
#include <string_view>

namespace hostile {

class Scribe {
public:
    /// Without `rare` it uses only characters that xmlrpc-c accepts, up to U+FFFD.
    explicit Scribe(std::mt19937& random, bool rare = true);

    /// A call with some arguments, and a reply of a status and further values, or a fault.
    std::string request(const std::string& method);
    std::string reply();
    std::string fault();

    /// A reply of a status and a table of at least that many bytes.
    std::string table(std::size_t size);

private:
    std::string document(const std::string& root, const std::string& content);
    std::string element(const std::string& name, const std::string& content);
    std::string line(const std::string& content); ///< with its separators
    std::string parameters(const std::string& values);
    std::string value(int depth);
    std::string scalar();
    std::string integer64();
    std::string real();
    std::string moment();
    std::string base64();
    std::string array(const std::string& values);
    std::string structure(int depth);
    std::string anyText(); ///< a few characters from several alphabets
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
    bool comments = false;   ///< also between elements
    bool sections = false;   ///< texts in CDATA sections
    bool references = false; ///< non-ASCII characters as references
    bool extensions = false; ///< extension types with a prefix
    bool bare = false;       ///< strings without an element
    std::string blankEnd;    ///< in the tag of an empty element
};

} // namespace hostile
