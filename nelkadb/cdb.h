// libnelkadb: the interface through which control programs reach a database.
#ifndef NELKADB_CDB_H
#define NELKADB_CDB_H

#include <string>

namespace nelkadb {

class ResultSet;

/// A database that a control program asks, and the fault state of the last question.
///
/// The operations return nothing: a caller reads getFault() after each of them. A CDB by itself has no database to
/// ask; derived classes override getTable() and execQuery(), in this slot order.
///
/// Not safe for concurrent use.
class __attribute__((visibility("default"))) CDB {
public:
    CDB();
    virtual ~CDB();

    /// Runs `query` and puts its rows into `result`. `timeout` is in milliseconds.
    /// Here: sets the fault state to -500 and leaves `result` untouched.
    virtual void getTable(std::string query, ResultSet& result, int timeout);

    /// Runs `query` against `table` and puts the integer it yields into `result`. `timeout` is in milliseconds.
    /// Here: sets the fault state to -500 and leaves `result` untouched.
    virtual void execQuery(std::string query, int& result, std::string table, int timeout);

    /// Sets the fault state; 0 means none.
    void setFault(int code);

    /// Sets the fault state to 0.
    void clearFault();

    /// The fault state: 0 after construction and after a successful operation.
    int getFault() const;

private:
    int fault;
};

} // namespace nelkadb

#endif
