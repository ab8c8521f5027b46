// libnelkadb: the database interface of control programs.
#ifndef NELKADB_CDB_H
#define NELKADB_CDB_H

#include <string>

namespace nelkadb {

class ResultSet;

/// A database of a control program, and the fault state of the last operation.
///
/// The operations return nothing: call getFault() after each. A CDB itself has no database; derived classes override
/// getTable() and execQuery(), in this slot order.
///
/// Not safe for concurrent use.
class __attribute__((visibility("default"))) CDB {
public:
    CDB();
    virtual ~CDB();

    /// Runs `query` and puts its rows into `result`. `timeout` is in milliseconds.
    /// CDB's own version sets the fault state to -500 and leaves `result` untouched.
    virtual void getTable(std::string query, ResultSet& result, int timeout);

    /// Runs `query` against `table` and puts its integer result into `result`. `timeout` is in milliseconds.
    /// CDB's own version sets the fault state to -500 and leaves `result` untouched.
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
