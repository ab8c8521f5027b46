#include "wire.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace nelkaslave {

namespace {

class Environment {
public:
    Environment() { xmlrpc_env_init(&env); }
    ~Environment() { xmlrpc_env_clean(&env); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    xmlrpc_env* operator&() { return &env; }

    void check() const
    {
        if (env.fault_occurred)
            throw Fault(env.fault_code, env.fault_string);
    }

private:
    xmlrpc_env env;
};

// Calls `make` with a fresh environment.
template <typename Make, typename... Values>
Value made(Make make, Values... values)
{
    Environment env;
    xmlrpc_value* value = make(&env, values...);
    env.check(); // on a fault there is no value to release
    return Value(value);
}

bool isContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

// The length in bytes of the first character of `rest`, or 0 if an XML-RPC string cannot carry it: invalid UTF-8,
// control characters, and characters of four bytes, which xmlrpc-c rejects.
std::size_t carriedLength(std::string_view rest)
{
    const auto first = static_cast<unsigned char>(rest[0]);
    if (first < 0x20)
        return first == '\t' || first == '\n' || first == '\r' ? 1 : 0;
    if (first < 0x80)
        return first == 0x7F ? 0 : 1;
    const std::size_t length = first >= 0xC2 && first <= 0xDF ? 2 : first >= 0xE0 && first <= 0xEF ? 3 : 0;
    if (length == 0 || rest.size() < length)
        return 0;
    unsigned int code = length == 2 ? first & 0x1FU : first & 0x0FU;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(rest[i]))
            return 0;
        code = code << 6U | (static_cast<unsigned char>(rest[i]) & 0x3FU);
    }
    const bool overlong = length == 3 && code < 0x800;
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return overlong || surrogate || code >= 0xFFFE ? 0 : length;
}

template <typename Write>
std::string xmlOf(Write write)
{
    struct FreeBlock {
        void operator()(xmlrpc_mem_block* block) const { xmlrpc_mem_block_free(block); }
    };
    Environment env;
    const std::unique_ptr<xmlrpc_mem_block, FreeBlock> xml(xmlrpc_mem_block_new(&env, 0));
    env.check();
    write(&env, xml.get());
    env.check();
    return std::string(XMLRPC_MEMBLOCK_CONTENTS(char, xml.get()), XMLRPC_MEMBLOCK_SIZE(char, xml.get()));
}

Value itemAt(xmlrpc_value* array, unsigned int place)
{
    Environment env;
    xmlrpc_value* item = nullptr;
    xmlrpc_array_read_item(&env, array, place, &item);
    env.check();
    return Value(item);
}

int sizeOf(xmlrpc_value* array)
{
    Environment env;
    const int size = xmlrpc_array_size(&env, array);
    env.check();
    return size;
}

template <typename Scalar, typename Read>
Scalar scalar(const Value& value, Read read)
{
    Environment env;
    Scalar result = 0;
    read(&env, value.get(), &result);
    env.check();
    return result;
}

std::string fifteenDigits(double value)
{
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, value, std::chars_format::general, 15).ptr);
}

// The number that a client with xmlrpc-c reads: neither its writer nor its reader is exact.
double received(const Value& number)
{
    const std::string xml =
        xmlOf([&](xmlrpc_env* env, xmlrpc_mem_block* written) { xmlrpc_serialize_value(env, written, number.get()); });
    Environment env;
    xmlrpc_value* value = nullptr;
    xmlrpc_parse_value_xml(&env, xml.data(), xml.size(), &value);
    env.check();
    return scalar<double>(Value(value), xmlrpc_read_double);
}

struct Free {
    void operator()(const void* memory) const { std::free(const_cast<void*>(memory)); }
};

template <typename Character>
std::string characters(const Value& value,
                       void (*read)(xmlrpc_env*, const xmlrpc_value*, std::size_t*, const Character**))
{
    Environment env;
    std::size_t length = 0;
    const Character* all = nullptr;
    read(&env, value.get(), &length, &all);
    const std::unique_ptr<const Character, Free> owned(all);
    env.check();
    return std::string(all, all + length);
}

// Cut between characters.
std::string quoted(const std::string& text)
{
    constexpr std::size_t longest = 60;
    std::size_t length = std::min(text.size(), longest);
    while (length > 0 && length < text.size() && isContinuation(text[length]))
        --length;
    const std::string rest = length < text.size() ? "... (" + std::to_string(text.size()) + " bytes)" : "";
    return '"' + text.substr(0, length) + '"' + rest;
}

std::string inWords(const Value& value)
{
    switch (xmlrpc_value_type(value.get())) {
    case XMLRPC_TYPE_INT:
        return std::to_string(scalar<int>(value, xmlrpc_read_int));
    case XMLRPC_TYPE_I8:
        return std::to_string(scalar<xmlrpc_int64>(value, xmlrpc_read_i8));
    case XMLRPC_TYPE_BOOL:
        return scalar<xmlrpc_bool>(value, xmlrpc_read_bool) ? "true" : "false";
    case XMLRPC_TYPE_DOUBLE:
        return fifteenDigits(scalar<double>(value, xmlrpc_read_double));
    case XMLRPC_TYPE_STRING:
        return quoted(characters(value, xmlrpc_read_string_lp));
    case XMLRPC_TYPE_BASE64:
        return "block of " + std::to_string(characters(value, xmlrpc_read_base64).size()) + " bytes";
    default:
        return xmlrpc_type_name(xmlrpc_value_type(value.get()));
    }
}

Value argument(xmlrpc_value* list, unsigned int place, xmlrpc_type type, const char* what)
{
    Value value = itemAt(list, place);
    if (xmlrpc_value_type(value.get()) != type)
        throw Fault(XMLRPC_TYPE_ERROR, "argument " + std::to_string(place + 1) + " must be " + what);
    return value;
}

} // namespace

// Out ----------------------------------------------------------------------------------------------------------

Value nil()
{
    return made(xmlrpc_nil_new);
}

Value boolean(bool value)
{
    return made(xmlrpc_bool_new, xmlrpc_bool(value));
}

Value integer(int value)
{
    return made(xmlrpc_int_new, value);
}

Value integer64(std::int64_t value)
{
    return made(xmlrpc_i8_new, xmlrpc_int64(value));
}

Value real(double value)
{
    // xmlrpc-c crashes when it writes one.
    if (!std::isfinite(value))
        return text(std::isnan(value) ? "NaN" : value > 0 ? "Inf" : "-Inf");
    return made(xmlrpc_double_new, value);
}

Value realOrText(double value)
{
    Value number = real(value);
    const std::string digits = fifteenDigits(value);
    const bool survives = !std::isfinite(value) || fifteenDigits(received(number)) == digits;
    return survives ? std::move(number) : exactText(digits);
}

Value text(std::string_view value)
{
    std::string carried;
    while (!value.empty()) {
        const std::size_t length = carriedLength(value);
        carried += length == 0 ? std::string_view("?") : value.substr(0, length);
        value.remove_prefix(length == 0 ? 1 : length);
    }
    return exactText(carried);
}

Value exactText(std::string_view value)
{
    return made(xmlrpc_string_new_lp_cr, value.size(), value.data());
}

Value dateTime(const std::string& value)
{
    return made(xmlrpc_datetime_new_str, value.c_str());
}

Value block(std::string_view bytes)
{
    return made(xmlrpc_base64_new, bytes.size(), reinterpret_cast<const unsigned char*>(bytes.data()));
}

Value textOrBlock(std::string_view value)
{
    if (value.find('\r') != std::string_view::npos)
        return block(value); // xmlrpc-c reads a line feed
    for (std::string_view rest = value; !rest.empty();) {
        const std::size_t length = carriedLength(rest);
        if (length == 0)
            return block(value);
        rest.remove_prefix(length);
    }
    return exactText(value);
}

Value structure(const std::map<std::string, Value>& members)
{
    Value value = made(xmlrpc_struct_new);
    Environment env;
    for (const auto& [name, member] : members)
        xmlrpc_struct_set_value_n(&env, value.get(), name.data(), name.size(), member.get());
    env.check();
    return value;
}

Value emptyArray()
{
    return made(xmlrpc_array_new);
}

void append(const Value& array, const Value& item)
{
    Environment env;
    xmlrpc_array_append_item(&env, array.get(), item.get());
    env.check();
}

Value withItem(const Value& array, unsigned int place, const Value& item)
{
    Value changed = emptyArray();
    for (unsigned int i = 0; i < static_cast<unsigned int>(sizeOf(array.get())); ++i)
        append(changed, i == place ? another(item) : itemAt(array.get(), i));
    return changed;
}

int integerAt(const Value& array, unsigned int place)
{
    return scalar<int>(itemAt(array.get(), place), xmlrpc_read_int);
}

Value another(const Value& value)
{
    xmlrpc_INCREF(value.get());
    return Value(value.get());
}

std::size_t sizeOfResponse(const Value& reply)
{
    return xmlOf([&](xmlrpc_env* env, xmlrpc_mem_block* xml) { xmlrpc_serialize_response(env, xml, reply.get()); })
        .size();
}

std::string callXml(xmlrpc_value* parameters)
{
    return xmlOf([&](xmlrpc_env* env, xmlrpc_mem_block* xml) { xmlrpc_serialize_call(env, xml, "call", parameters); });
}

// In -----------------------------------------------------------------------------------------------------------

std::string described(xmlrpc_value* parameters)
{
    std::string list;
    for (int i = 0; i < sizeOf(parameters); ++i)
        list += (i == 0 ? "" : ", ") + inWords(itemAt(parameters, static_cast<unsigned int>(i)));
    return list;
}

void Arguments::requireCount(std::size_t count) const
{
    const int given = sizeOf(list);
    if (static_cast<std::size_t>(given) != count)
        throw Fault(XMLRPC_INDEX_ERROR,
                    "called with " + std::to_string(given) + " arguments, takes " + std::to_string(count));
}

template <>
int Arguments::read<int>(unsigned int place) const
{
    return scalar<int>(argument(list, place, XMLRPC_TYPE_INT, "a 32-bit integer"), xmlrpc_read_int);
}

template <>
bool Arguments::read<bool>(unsigned int place) const
{
    return scalar<xmlrpc_bool>(argument(list, place, XMLRPC_TYPE_BOOL, "a boolean"), xmlrpc_read_bool) != 0;
}

template <>
std::string Arguments::read<std::string>(unsigned int place) const
{
    return characters(argument(list, place, XMLRPC_TYPE_STRING, "a string"), xmlrpc_read_string_lp);
}

template <>
Block Arguments::read<Block>(unsigned int place) const
{
    return {characters(argument(list, place, XMLRPC_TYPE_BASE64, "a base64 byte string"), xmlrpc_read_base64)};
}

} // namespace nelkaslave
