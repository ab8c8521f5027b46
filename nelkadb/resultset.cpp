#include "resultset.h"

#include <charconv>
#include <cstdlib>
#include <memory>
#include <string>

namespace nelkadb {

namespace {

struct Free {
    void operator()(const void* memory) const { std::free(const_cast<void*>(memory)); }
};

struct Release {
    void operator()(xmlrpc_value* value) const { xmlrpc_DECREF(value); }
};

using Text = std::unique_ptr<const char, Free>;
using Bytes = std::unique_ptr<const unsigned char, Free>;
using Value = std::unique_ptr<xmlrpc_value, Release>;

std::string readString(xmlrpc_env& env, xmlrpc_value* value)
{
    std::size_t length = 0;
    const char* text = nullptr;
    xmlrpc_read_string_lp(&env, value, &length, &text);
    if (env.fault_occurred)
        return {};
    const Text owned(text);
    return std::string(text, length);
}

std::string readBytes(xmlrpc_env& env, xmlrpc_value* value)
{
    std::size_t length = 0;
    const unsigned char* bytes = nullptr;
    xmlrpc_read_base64(&env, value, &length, &bytes);
    if (env.fault_occurred)
        return {};
    const Bytes owned(bytes);
    return std::string(bytes, bytes + length);
}

// xmlrpc-c reads any further digits wrong.
constexpr int significantDigits = 15;

std::string readDouble(xmlrpc_env& env, xmlrpc_value* value)
{
    double number = 0;
    xmlrpc_read_double(&env, value, &number);
    char text[32];
    return std::string(
        text, std::to_chars(text, text + sizeof text, number, std::chars_format::general, significantDigits).ptr);
}

// Calls `take` on every element of `array`, until one of them records a fault.
template <typename Take>
void forEach(xmlrpc_env& env, xmlrpc_value* array, Take take)
{
    const int size = xmlrpc_array_size(&env, array);
    for (int i = 0; i < size && !env.fault_occurred; ++i) {
        xmlrpc_value* element = nullptr;
        xmlrpc_array_read_item(&env, array, static_cast<unsigned int>(i), &element);
        if (env.fault_occurred)
            return;
        const Value owned(element);
        take(element);
    }
}

} // namespace

struct Decoder {
    xmlrpc_env& env;
    ResultSet set{};

    void table(xmlrpc_value* array)
    {
        bool first = true;
        forEach(env, array, [&](xmlrpc_value* row) {
            first ? header(row) : dataRow(row);
            first = false;
        });
    }

private:
    void header(xmlrpc_value* row)
    {
        forEach(env, row, [&](xmlrpc_value* name) { set.names.push_back(readString(env, name)); });
    }

    void dataRow(xmlrpc_value* row)
    {
        std::vector<ResultSet::Cell> cells;
        cells.reserve(set.names.size());
        forEach(env, row, [&](xmlrpc_value* value) { cells.push_back(cell(value)); });
        if (!env.fault_occurred && cells.size() != set.names.size())
            xmlrpc_env_set_fault(&env, XMLRPC_INDEX_ERROR, "a row has more or fewer values than there are columns");
        set.rows.push_back(std::move(cells));
    }

    ResultSet::Cell cell(xmlrpc_value* value)
    {
        switch (xmlrpc_value_type(value)) {
        case XMLRPC_TYPE_INT: {
            int number = 0;
            xmlrpc_read_int(&env, value, &number);
            return {std::to_string(number), false};
        }
        case XMLRPC_TYPE_I8: {
            xmlrpc_int64 number = 0;
            xmlrpc_read_i8(&env, value, &number);
            return {std::to_string(number), false};
        }
        case XMLRPC_TYPE_BOOL: {
            xmlrpc_bool truth = 0;
            xmlrpc_read_bool(&env, value, &truth);
            return {truth ? "1" : "0", false};
        }
        case XMLRPC_TYPE_DOUBLE:
            return {readDouble(env, value), false};
        case XMLRPC_TYPE_STRING:
            return {readString(env, value), false};
        case XMLRPC_TYPE_BASE64:
            return {readBytes(env, value), false};
        case XMLRPC_TYPE_NIL:
            return {std::string(), true};
        default:
            xmlrpc_env_set_fault(&env, XMLRPC_TYPE_ERROR, "a row has a value that is not a scalar");
            return {std::string(), true};
        }
    }
};

ResultSet::ResultSet() = default;
ResultSet::~ResultSet() = default;
ResultSet::ResultSet(const ResultSet&) = default;
ResultSet& ResultSet::operator=(const ResultSet&) = default;

void ResultSet::fill(xmlrpc_env& env, xmlrpc_value* table)
{
    if (env.fault_occurred)
        return;
    Decoder decoder{env};
    decoder.table(table);
    if (env.fault_occurred)
        return;
    names.swap(decoder.set.names);
    rows.swap(decoder.set.rows);
}

std::size_t ResultSet::rowCount() const
{
    return rows.size();
}

std::size_t ResultSet::columnCount() const
{
    return names.size();
}

const std::string& ResultSet::columnName(std::size_t column) const
{
    return names.at(column);
}

const std::string& ResultSet::value(std::size_t row, std::size_t column) const
{
    return cell(row, column).text;
}

bool ResultSet::isNull(std::size_t row, std::size_t column) const
{
    return cell(row, column).null;
}

const ResultSet::Cell& ResultSet::cell(std::size_t row, std::size_t column) const
{
    return rows.at(row).at(column);
}

} // namespace nelkadb
