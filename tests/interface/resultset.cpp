// Result sets: filling them, refused tables, values.
#include <nelkadb/resultset.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <xmlrpc-c/base.h>

#include "support/interpose.h"

namespace {

int readsUntilFailure = 0; // of array elements; 0: none fails
bool bytesAreReadable = true;

} // namespace

// These intercept the library's reads: the program's symbols precede those of xmlrpc-c.
#pragma GCC visibility push(default)
extern "C" void xmlrpc_array_read_item(xmlrpc_env* env, const xmlrpc_value* array, unsigned int index,
                                       xmlrpc_value** element)
{
    if (readsUntilFailure > 0 && --readsUntilFailure == 0)
        return xmlrpc_env_set_fault(env, XMLRPC_INTERNAL_ERROR, "unreadable");
    static const auto real = support::next<decltype(xmlrpc_array_read_item)>("xmlrpc_array_read_item");
    real(env, array, index, element);
}

extern "C" void xmlrpc_read_base64(xmlrpc_env* env, const xmlrpc_value* value, size_t* length,
                                   const unsigned char** bytes)
{
    if (!bytesAreReadable)
        return xmlrpc_env_set_fault(env, XMLRPC_INTERNAL_ERROR, "unreadable");
    static const auto real = support::next<decltype(xmlrpc_read_base64)>("xmlrpc_read_base64");
    real(env, value, length, bytes);
}
#pragma GCC visibility pop

namespace {

using namespace std::string_literals;

struct Environment {
    xmlrpc_env env;

    Environment() { xmlrpc_env_init(&env); }
    ~Environment() { xmlrpc_env_clean(&env); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
};

struct Release {
    void operator()(xmlrpc_value* value) const { xmlrpc_DECREF(value); }
};

using Value = std::shared_ptr<xmlrpc_value>;

// Calls `make` with a fresh environment.
template <typename Make>
Value made(Make make)
{
    Environment creation;
    Value value(make(&creation.env), Release());
    if (creation.env.fault_occurred)
        throw std::runtime_error(creation.env.fault_string);
    return value;
}

Value integer(int number)
{
    return made([&](xmlrpc_env* env) { return xmlrpc_int_new(env, number); });
}

Value longInteger(std::int64_t number)
{
    return made([&](xmlrpc_env* env) { return xmlrpc_i8_new(env, number); });
}

Value boolean(bool truth)
{
    return made([&](xmlrpc_env* env) { return xmlrpc_bool_new(env, truth); });
}

Value real(double number)
{
    return made([&](xmlrpc_env* env) { return xmlrpc_double_new(env, number); });
}

Value text(std::string_view characters)
{
    return made([&](xmlrpc_env* env) { return xmlrpc_string_new_lp(env, characters.size(), characters.data()); });
}

Value bytes(std::string_view block)
{
    return made([&](xmlrpc_env* env) {
        return xmlrpc_base64_new(env, block.size(), reinterpret_cast<const unsigned char*>(block.data()));
    });
}

Value nil()
{
    return made([](xmlrpc_env* env) { return xmlrpc_nil_new(env); });
}

Value date()
{
    return made([](xmlrpc_env* env) { return xmlrpc_datetime_new_str(env, "20260102T03:04:05"); });
}

Value structure()
{
    return made([](xmlrpc_env* env) { return xmlrpc_struct_new(env); });
}

Value array(const std::vector<Value>& items)
{
    return made([&](xmlrpc_env* env) {
        xmlrpc_value* const all = xmlrpc_array_new(env);
        for (const Value& item : items)
            xmlrpc_array_append_item(env, all, item.get());
        return all;
    });
}

// A set that already holds a table, and the environment for filling it.
class ResultSetTest : public ::testing::Test {
protected:
    Environment environment;
    nelkadb::ResultSet set;

    void SetUp() override
    {
        fill(array({array({text("before")}), array({text("kept")})}));
        ASSERT_EQ(fault(), 0);
    }

    void fill(const Value& table) { set.fill(environment.env, table.get()); }

    /// One column named "c" with these cells.
    void fillColumn(const std::vector<Value>& cells)
    {
        std::vector<Value> rows{array({text("c")})};
        for (const Value& cell : cells)
            rows.push_back(array({cell}));
        fill(array(rows));
    }

    int fault() const { return environment.env.fault_occurred ? environment.env.fault_code : 0; }

    std::vector<std::string> column() const
    {
        std::vector<std::string> values;
        for (std::size_t row = 0; row < set.rowCount(); ++row)
            values.push_back(set.value(row, 0));
        return values;
    }

    void expectAsItWas() const
    {
        ASSERT_EQ(set.columnCount(), 1U);
        ASSERT_EQ(set.rowCount(), 1U);
        EXPECT_EQ(set.columnName(0), "before");
        EXPECT_EQ(set.value(0, 0), "kept");
    }
};

TEST(ResultSet, IsEmptyAfterConstruction)
{
    const nelkadb::ResultSet set;
    EXPECT_EQ(set.rowCount(), 0U);
    EXPECT_EQ(set.columnCount(), 0U);
}

TEST_F(ResultSetTest, FirstRowNamesColumns)
{
    fill(array(
        {array({text("id"), text("nombre")}), array({integer(1), text("uno")}), array({integer(2), text("dos")})}));
    ASSERT_EQ(fault(), 0);
    ASSERT_EQ(set.columnCount(), 2U);
    ASSERT_EQ(set.rowCount(), 2U);
    EXPECT_EQ(set.columnName(0), "id");
    EXPECT_EQ(set.columnName(1), "nombre");
    EXPECT_EQ(set.value(0, 0), "1");
    EXPECT_EQ(set.value(0, 1), "uno");
    EXPECT_EQ(set.value(1, 0), "2");
    EXPECT_EQ(set.value(1, 1), "dos");
}

TEST_F(ResultSetTest, NamesAloneGiveColumnsWithoutRows)
{
    fill(array({array({text("id"), text("nombre")})}));
    EXPECT_EQ(fault(), 0);
    EXPECT_EQ(set.columnCount(), 2U);
    EXPECT_EQ(set.rowCount(), 0U);
}

TEST_F(ResultSetTest, EmptyArrayGivesEmptySet)
{
    fill(array({}));
    EXPECT_EQ(fault(), 0);
    EXPECT_EQ(set.columnCount(), 0U);
    EXPECT_EQ(set.rowCount(), 0U);
}

TEST_F(ResultSetTest, CountsRowsWithoutColumns)
{
    fill(array({array({}), array({}), array({})}));
    EXPECT_EQ(fault(), 0);
    EXPECT_EQ(set.columnCount(), 0U);
    EXPECT_EQ(set.rowCount(), 2U);
}

TEST_F(ResultSetTest, WritesIntegersInDecimal)
{
    fillColumn({integer(0), integer(-7), integer(std::numeric_limits<int>::max()),
                integer(std::numeric_limits<int>::min()), longInteger(5000000000),
                longInteger(std::numeric_limits<std::int64_t>::min())});
    EXPECT_EQ(column(),
              (std::vector<std::string>{"0", "-7", "2147483647", "-2147483648", "5000000000", "-9223372036854775808"}));
}

TEST_F(ResultSetTest, WritesBooleansAsZeroAndOne)
{
    fillColumn({boolean(false), boolean(true)});
    EXPECT_EQ(column(), (std::vector<std::string>{"0", "1"}));
}

TEST_F(ResultSetTest, WritesDoublesWithAtMostFifteenDigits)
{
    fillColumn({real(0.1), real(1), real(-2.5), real(1e300), real(1.0 / 3), real(5e-324), real(-0.0)});
    EXPECT_EQ(column(), (std::vector<std::string>{"0.1", "1", "-2.5", "1e+300", "0.333333333333333",
                                                  "4.94065645841247e-324", "-0"}));
}

TEST_F(ResultSetTest, WritesDoublesWithoutRoundingOfTransport)
{
    fillColumn({real(0.30000000000000004), real(1.0000000000000005e-07), real(62.54999999999999)});
    EXPECT_EQ(column(), (std::vector<std::string>{"0.3", "1e-07", "62.55"}));
}

TEST_F(ResultSetTest, KeepsAllBytesOfTexts)
{
    fillColumn({text("a\0b"s), text("\xC3\xB1"), text("")});
    EXPECT_EQ(column(), (std::vector<std::string>{"a\0b"s, "\xC3\xB1", ""}));
    EXPECT_FALSE(set.isNull(2, 0));
}

TEST_F(ResultSetTest, KeepsByteStrings)
{
    fillColumn({bytes("\0\xFF\r\n"s), bytes("")});
    EXPECT_EQ(column(), (std::vector<std::string>{"\0\xFF\r\n"s, ""}));
    EXPECT_FALSE(set.isNull(0, 0));
    EXPECT_FALSE(set.isNull(1, 0));
}

TEST_F(ResultSetTest, KeepsBytesOfColumnNames)
{
    fill(array({array({text("a\0b"s)})}));
    ASSERT_EQ(fault(), 0);
    EXPECT_EQ(set.columnName(0), "a\0b"s);
}

TEST_F(ResultSetTest, TellsNullsFromEmptyTexts)
{
    fillColumn({nil(), text("")});
    ASSERT_EQ(fault(), 0);
    EXPECT_TRUE(set.isNull(0, 0));
    EXPECT_EQ(set.value(0, 0), "");
    EXPECT_FALSE(set.isNull(1, 0));
}

TEST_F(ResultSetTest, NextFillReplacesContents)
{
    fill(array({array({text("a"), text("b")}), array({nil(), integer(5)})}));
    fillColumn({text("last")});
    ASSERT_EQ(fault(), 0);
    EXPECT_EQ(set.columnCount(), 1U);
    EXPECT_EQ(set.columnName(0), "c");
    EXPECT_EQ(column(), (std::vector<std::string>{"last"}));
    EXPECT_FALSE(set.isNull(0, 0));
}

TEST_F(ResultSetTest, ThrowsOutOfRange)
{
    EXPECT_THROW(set.columnName(1), std::out_of_range);
    EXPECT_THROW(set.value(0, 1), std::out_of_range);
    EXPECT_THROW(set.value(1, 0), std::out_of_range);
    EXPECT_THROW(set.isNull(0, 1), std::out_of_range);
    EXPECT_THROW(set.isNull(1, 0), std::out_of_range);
    EXPECT_THROW(nelkadb::ResultSet().value(0, 0), std::out_of_range);
    EXPECT_THROW(nelkadb::ResultSet().columnName(0), std::out_of_range);
}

TEST_F(ResultSetTest, IsCopiedWithContents)
{
    const nelkadb::ResultSet copy(set);
    nelkadb::ResultSet assigned;
    assigned = set;
    fill(array({}));
    for (const nelkadb::ResultSet& each : {std::cref(copy), std::cref(std::as_const(assigned))}) {
        EXPECT_EQ(each.columnName(0), "before");
        EXPECT_EQ(each.value(0, 0), "kept");
    }
}

TEST_F(ResultSetTest, LeavesTableToCaller)
{
    const Value table = array({array({text("c")}), array({text("x")})});
    fill(table);
    nelkadb::ResultSet second;
    second.fill(environment.env, table.get());
    EXPECT_EQ(fault(), 0);
    EXPECT_EQ(second.value(0, 0), "x");
}

struct Refused {
    const char* name;
    Value (*table)();
    int fault;
};

std::ostream& operator<<(std::ostream& out, const Refused& refused)
{
    return out << refused.name;
}

class RefusedTable : public ResultSetTest, public ::testing::WithParamInterface<Refused> {};

TEST_P(RefusedTable, IsFaultAndLeavesSet)
{
    fill(GetParam().table());
    EXPECT_EQ(fault(), GetParam().fault);
    expectAsItWas();
}

constexpr int wrongType = -501;
constexpr int wrongSize = -502;

Value cellUnderGoodRow(const Value& cell)
{
    return array({array({text("c")}), array({text("good")}), array({cell})});
}

INSTANTIATE_TEST_SUITE_P(
    ResultSet, RefusedTable,
    ::testing::Values(Refused{"NoArray", [] { return text("table"); }, wrongType},
                      Refused{"FirstRowIsNoArray", [] { return array({text("c")}); }, wrongType},
                      Refused{"FirstRowHoldsNull",
                              [] {
                                  return array({array({text("c"), nil()})});
                              },
                              wrongType},
                      Refused{"FirstRowHoldsBytes", [] { return array({array({bytes("c")})}); }, wrongType},
                      Refused{"FirstRowHoldsNumber",
                              [] {
                                  return array({array({integer(1)}), array({integer(2)})});
                              },
                              wrongType},
                      Refused{"RowIsNoArray",
                              [] {
                                  return array({array({text("c")}), integer(1)});
                              },
                              wrongType},
                      Refused{"RowIsShort",
                              [] {
                                  return array({array({text("a"), text("b")}), array({integer(1)})});
                              },
                              wrongSize},
                      Refused{"RowIsLong",
                              [] {
                                  return array({array({text("a")}), array({integer(1), integer(2)})});
                              },
                              wrongSize},
                      Refused{"CellIsArray", [] { return cellUnderGoodRow(array({text("x")})); }, wrongType},
                      Refused{"CellIsStruct", [] { return cellUnderGoodRow(structure()); }, wrongType},
                      Refused{"CellIsDate", [] { return cellUnderGoodRow(date()); }, wrongType}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(ResultSetTest, FaultyEnvironmentLeavesBothUnchanged)
{
    xmlrpc_env_set_fault(&environment.env, -77, "earlier");
    for (const Value& table : {array({array({text("c")}), array({text("new")})}), text("no array")}) {
        fill(table);
        EXPECT_EQ(fault(), -77);
        EXPECT_STREQ(environment.env.fault_string, "earlier");
        expectAsItWas();
    }
}

TEST_F(ResultSetTest, UnreadableElementLeavesSet)
{
    const Value table = array({array({text("c")}), array({text("new")})});
    constexpr int elements = 4;
    for (int element = 1; element <= elements; ++element) {
        Environment another;
        readsUntilFailure = element;
        set.fill(another.env, table.get());
        EXPECT_EQ(readsUntilFailure, 0);
        EXPECT_EQ(another.env.fault_code, XMLRPC_INTERNAL_ERROR);
        expectAsItWas();
    }
}

TEST_F(ResultSetTest, UnreadableByteStringLeavesSet)
{
    bytesAreReadable = false;
    fillColumn({bytes("new")});
    bytesAreReadable = true;
    EXPECT_EQ(fault(), XMLRPC_INTERNAL_ERROR);
    expectAsItWas();
}

} // namespace
