#include "base64.h"

#include <stdexcept>

namespace nelkaslave {

namespace {

constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

} // namespace

std::string toBase64(std::string_view bytes)
{
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::string_view group = bytes.substr(at, 3);
        unsigned int bits = 0;
        for (std::size_t i = 0; i < 3; ++i)
            bits = bits << 8U | (i < group.size() ? static_cast<unsigned char>(group[i]) : 0U);
        for (std::size_t i = 0; i < 4; ++i)
            text += i <= group.size() ? digits[bits >> (18 - 6 * i) & 0x3FU] : '=';
    }
    return text;
}

std::string fromBase64(std::string_view text)
{
    if (text.size() % 4 != 0)
        throw std::invalid_argument("base64 comes in groups of four characters");
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
    text.remove_suffix(padding);

    std::string bytes;
    unsigned int bits = 0;
    unsigned int held = 0;
    for (const char character : text) {
        const std::size_t digit = digits.find(character);
        if (digit == std::string_view::npos)
            throw std::invalid_argument(std::string("'") + character + "' is not a base64 digit");
        bits = (bits << 6U | static_cast<unsigned int>(digit)) & 0xFFFFU;
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes += static_cast<char>(bits >> held & 0xFFU);
        }
    }
    return bytes;
}

} // namespace nelkaslave
