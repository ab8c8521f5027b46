// XML-RPC values as they go in and out of the procedures.
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

/// A byte string, where a plain std::string is a text.
struct Block {
    std::string bytes;
};

// Out ----------------------------------------------------------------------------------------------------------

Value nil();
Value boolean(bool value);
Value integer(int value);
Value integer64(std::int64_t value);
/// Infinities become texts: XML-RPC has no word for them.
Value real(double value);
/// A number that arrives with its first 15 digits: as a text where xmlrpc-c would not write or read them.
Value realOrText(double value);
/// What a string of XML-RPC cannot carry arrives as question marks, a carriage return as a line feed.
Value text(std::string_view value);
/// The text whatever it holds; a fault says what xmlrpc-c cannot send.
Value exactText(std::string_view value);
Value dateTime(const std::string& value);
Value block(std::string_view bytes);
/// The text if a string of XML-RPC carries it unchanged, else its bytes.
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

/// The array with another item in one place.
Value withItem(const Value& array, unsigned int place, const Value& item);

/// The integer in one place of an array.
int integerAt(const Value& array, unsigned int place);

Value another(const Value& value);

/// How many bytes of XML a reply takes up.
std::size_t sizeOfResponse(const Value& reply);

/// A call with these parameters, in XML.
std::string callXml(xmlrpc_value* parameters);

// In -----------------------------------------------------------------------------------------------------------

/// The parameters of a call for a reader, long texts and blocks shortened.
std::string described(xmlrpc_value* parameters);

/// What a procedure was called with.
class Arguments {
public:
    explicit Arguments(xmlrpc_value* parameters) : list(parameters) {}

    /// All of them, as values of exactly these types: int, bool, std::string, Block. A fault says what does not fit.
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
