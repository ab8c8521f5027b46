// Database: getTable, execQuery.
#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Database, RemoteOperation, family("database"), ::testing::PrintToStringParamName());

const std::string row = xml::array({xml::text("La 1"), xml::i4(7)});
const std::string names = xml::array({xml::text("nombre"), xml::text("canal")});
const std::string table = xml::array({names, row, row});
const std::string raggedTable = xml::array({names, xml::array({xml::text("La 1")})});

class GetTable : public FamilyTest {
protected:
    void SetUp() override
    {
        FamilyTest::SetUp();
        call({xml::i4(0), xml::array({xml::array({xml::text("columna")}), xml::array({xml::text("as it was")})})});
        ASSERT_TRUE(isAsItWas());
    }

    void call(const std::vector<std::string>& answer, const std::string& query = "select 1")
    {
        answerWith(answer);
        client.getTable(query, result, ampleTimeout);
    }

    bool isAsItWas() const
    {
        return result.rowCount() == 1 && result.columnCount() == 1 && result.columnName(0) == "columna"
               && result.value(0, 0) == "as it was";
    }

    bool holdsTheTable() const
    {
        return result.rowCount() == 2 && result.columnCount() == 2 && result.columnName(0) == "nombre"
               && result.columnName(1) == "canal" && result.value(0, 0) == "La 1" && result.value(1, 1) == "7";
    }

    nelkadb::ResultSet result;
    const std::string message = "getTable host : 127.0.0.1, dbName : modulo, query : select 1";
};

TEST_F(GetTable, EscapesItsQuery)
{
    call({xml::i4(0), table}, "select \"a\"\n from t where b < 'c' & d > 1");
    EXPECT_EQ(slave.bodies(),
              (std::vector<std::string>{requestBody(
                  "GetTable", {"<string>modulo</string>",
                               "<string>select \"a\"\n from t where b &lt; 'c' &amp; d &gt; 1</string>"})}));
}

TEST_F(GetTable, UnassignedDatabaseNameIsSentEmpty)
{
    client.dbName.clear();
    call({xml::i4(0), table}, "");
    EXPECT_EQ(slave.calls().at(0).parameters, (std::vector<std::string>{"string ", "string "}));
    EXPECT_EQ(log.lines().at(0), debug("getTable host : 127.0.0.1, dbName : , query : "));
}

TEST_F(GetTable, EmptyTableEmptiesResultSet)
{
    call({xml::i4(0), xml::array({})});
    EXPECT_EQ(result.rowCount(), 0U);
    EXPECT_EQ(result.columnCount(), 0U);
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(GetTable, RaggedTableIsNeitherLoggedNorReported)
{
    call({xml::i4(0), raggedTable});
    EXPECT_TRUE(isAsItWas());
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_TRUE(client.environment().fault_occurred);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message));
    EXPECT_EQ(spy.resultsReleased, 1);
}

TEST_F(GetTable, RaggedTableWithErrorStatusReportsStatus)
{
    call({xml::i4(7), raggedTable});
    EXPECT_TRUE(isAsItWas());
    EXPECT_EQ(client.getFault(), 7);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message, {refusedLine(message, 7), place()}));
}

TEST_F(GetTable, WorksAfterRaggedTable)
{
    call({xml::i4(0), raggedTable});
    call({xml::i4(0), table});
    EXPECT_TRUE(holdsTheTable());
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(GetTable, IsCalledThroughBase)
{
    nelkadb::CDB& database = client;
    answerWith({xml::i4(7), table});
    database.getTable("select 1", result, ampleTimeout);
    EXPECT_TRUE(holdsTheTable());
    EXPECT_EQ(database.getFault(), 7);
}

TEST_F(GetTable, LongQueryIsSentWhole)
{
    const std::string query(200'000, 'q');
    call({xml::i4(0), table}, query);
    EXPECT_EQ(slave.calls().at(0).parameters.at(1), "string " + query);
    EXPECT_TRUE(holdsTheTable());
}

class ExecQuery : public FamilyTest {
protected:
    int result = 222;
};

TEST_F(ExecQuery, IsCalledThroughBase)
{
    nelkadb::CDB& database = client;
    answerWith({xml::i4(0), xml::i4(3)});
    database.execQuery("delete", result, "canales", ampleTimeout);
    EXPECT_EQ(result, 3);
    EXPECT_EQ(slave.calls().at(0).parameters,
              (std::vector<std::string>{"string modulo", "string canales", "string delete"}));
}

TEST_F(ExecQuery, InvalidUtf8FailsAndSendsNothing)
{
    client.execQuery("a\xf1o", result, "canales", ampleTimeout);
    EXPECT_EQ(client.getFault(), -510);
    EXPECT_EQ(result, 222);
    EXPECT_TRUE(slave.requests().empty());
    EXPECT_GT(timerLeft(), std::chrono::seconds(0));
}

} // namespace
