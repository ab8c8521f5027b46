// The base of database clients, alone and derived from.
#include <nelkadb/cdb.h>

#include <memory>

#include <gtest/gtest.h>
#include <nelkadb/resultset.h>

#include "support/operations.h"

namespace {

constexpr int noDatabase = -500;

TEST(Cdb, HasNoFaultAfterConstruction)
{
    EXPECT_EQ(nelkadb::CDB().getFault(), 0);
}

TEST(Cdb, KeepsLastFault)
{
    nelkadb::CDB db;
    for (const int code : {-505, 7, 0, -1}) {
        db.setFault(code);
        EXPECT_EQ(db.getFault(), code);
    }
}

TEST(Cdb, ClearFaultResetsFault)
{
    nelkadb::CDB db;
    db.setFault(3);
    db.clearFault();
    EXPECT_EQ(db.getFault(), 0);
}

TEST(Cdb, HasNoTables)
{
    nelkadb::CDB db;
    nelkadb::ResultSet result = support::Variables().table;
    db.getTable("SELECT 1", result, 1000);
    EXPECT_EQ(db.getFault(), noDatabase);
    EXPECT_EQ(result.value(0, 0), "preset");
}

TEST(Cdb, ExecutesNothing)
{
    nelkadb::CDB db;
    int result = 42;
    db.execQuery("DELETE FROM canales", result, "canales", 1000);
    EXPECT_EQ(db.getFault(), noDatabase);
    EXPECT_EQ(result, 42);
}

class Answering : public nelkadb::CDB {
public:
    explicit Answering(bool& sign) : destroyed(sign) {}
    ~Answering() override { destroyed = true; }
    void getTable(std::string, nelkadb::ResultSet&, int timeout) override { setFault(timeout); }
    void execQuery(std::string query, int& result, std::string, int) override
    {
        result = static_cast<int>(query.size());
    }

private:
    bool& destroyed;
};

TEST(Cdb, CallsDerivedClass)
{
    bool destroyed = false;
    std::unique_ptr<nelkadb::CDB> db = std::make_unique<Answering>(destroyed);
    nelkadb::ResultSet rows;
    db->getTable("", rows, 9);
    EXPECT_EQ(db->getFault(), 9);
    int result = 0;
    db->execQuery("four", result, "", 0);
    EXPECT_EQ(result, 4);
    db.reset();
    EXPECT_TRUE(destroyed);
}

} // namespace
