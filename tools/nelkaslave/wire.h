// The XML-RPC values that procedures receive and return.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include <xmlrpc-c/base.h>

namespace nelkaslave {

/// Ends a call with an XML-RPC fault.
class Fault : public std::runtime_error {
public:
    Fault(int faultCode, const std::string& text) : std::runtime_error(text), code(faultCode) {}

    const int code;
};

struct Release {
    void operator()(xmlrpc_value* value) const { xmlrpc_DECREF(value); }
};

using Value = std::unique_ptr<xmlrpc_value, Release>;

/// A byte string; a plain std::string is a text.
struct Block {
    std::string bytes;
};

// Out ----------------------------------------------------------------------------------------------------------

Value nil();
Value boolean(bool value);
Value integer(int value);
Value integer64(std::int64_t value);
/// Infinities become texts, because XML-RPC lacks them.
Value real(double value);
/// A number that arrives with its first 15 digits: a text if xmlrpc-c would change them.
Value realOrText(double value);
/// Characters that an XML-RPC string cannot carry become question marks, a carriage return becomes a line feed.
Value text(std::string_view value);
/// The text as it is; throws Fault if xmlrpc-c cannot send it.
Value exactText(std::string_view value);
Value dateTime(const std::string& value);
Value block(std::string_view bytes);
/// The text if an XML-RPC string carries it unchanged, otherwise its bytes.
Value textOrBlock(std::string_view value);
Value structure(const std::map<std::string, Value>& members);

Value emptyArray();
void append(const Value& array, const Value& item);

template <typename... Items>
Value array(const Items&... items)
{
    Value list = emptyArray();
    (append(list, items), ...);
    return list;
}

/// The array with one item replaced.
Value withItem(const Value& array, unsigned int place, const Value& item);

/// The integer at a place in an array.
int integerAt(const Value& array, unsigned int place);

Value another(const Value& value);

/// The size of a reply in bytes of XML.
std::size_t sizeOfResponse(const Value& reply);

/// A call with these parameters, in XML.
std::string callXml(xmlrpc_value* parameters);

// In -----------------------------------------------------------------------------------------------------------

/// The parameters of a call as readable text, long texts and blocks shortened.
std::string described(xmlrpc_value* parameters);

/// The arguments of a call.
class Arguments {
public:
    explicit Arguments(xmlrpc_value* parameters) : list(parameters) {}

    /// All of them, with exactly these types: int, bool, std::string, Block. Throws Fault naming an argument that does
    /// not fit.
    template <typename... Types>
    std::tuple<Types...> as() const
    {
        requireCount(sizeof...(Types));
        return inOrder<Types...>(std::make_integer_sequence<unsigned int, sizeof...(Types)>());
    }

private:
    void requireCount(std::size_t count) const;

    template <typename... Types, unsigned int... places>
    std::tuple<Types...> inOrder(std::integer_sequence<unsigned int, places...>) const
    {
        return std::tuple<Types...>{read<Types>(places)...};
    }

    template <typename Type>
    Type read(unsigned int place) const;

    xmlrpc_value* list;
};

template <>
int Arguments::read<int>(unsigned int place) const;
template <>
bool Arguments::read<bool>(unsigned int place) const;
template <>
std::string Arguments::read<std::string>(unsigned int place) const;
template <>
Block Arguments::read<Block>(unsigned int place) const;

} // namespace nelkaslave
