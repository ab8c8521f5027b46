// libnelkadb: the rows that a query returned.
#ifndef NELKADB_RESULTSET_H
#define NELKADB_RESULTSET_H

#include <cstddef>
#include <string>
#include <vector>

#include <xmlrpc-c/base.h>

namespace nelkadb {

/// A table of texts and nulls with named columns. Empty after construction.
///
/// Not safe for concurrent use.
class __attribute__((visibility("default"))) ResultSet {
public:
    ResultSet();
    ~ResultSet();

    /// Copies the contents. Throws std::bad_alloc.
    ResultSet(const ResultSet& other);

    /// Copies the contents. Throws std::bad_alloc.
    ResultSet& operator=(const ResultSet& other);

    /// Replaces the contents with those of `table`: an array of rows, each an array of scalars, the first row holding
    /// the column names as strings. An empty array is an empty set.
    ///
    /// Integers become decimal text, booleans 0 or 1, doubles text of at most 15 significant digits, because xmlrpc-c
    /// reads 0.3 as 0.30000000000000004; strings and byte strings stay as they are; nil is null. Any other value, or a
    /// row whose length differs from that of the first, records a fault in `env` and leaves the contents untouched. If
    /// `env` already holds a fault, nothing changes.
    ///
    /// `table` stays the caller's. Throws std::bad_alloc and leaves the contents untouched.
    void fill(xmlrpc_env& env, xmlrpc_value* table);

    /// The number of rows, without the row of column names.
    std::size_t rowCount() const;

    /// The number of columns.
    std::size_t columnCount() const;

    /// The name of a column, counted from 0. Throws std::out_of_range.
    const std::string& columnName(std::size_t column) const;

    /// The text of a cell, counted from 0; empty for a null. Valid until the next fill(). Throws std::out_of_range.
    const std::string& value(std::size_t row, std::size_t column) const;

    /// Whether a cell, counted from 0, is null. Throws std::out_of_range.
    bool isNull(std::size_t row, std::size_t column) const;

private:
    struct Cell {
        std::string text;
        bool null;
    };

    __attribute__((visibility("hidden"))) const Cell& cell(std::size_t row, std::size_t column) const;

    std::vector<std::string> names;
    std::vector<std::vector<Cell>> rows;

    friend struct Decoder;
};

} // namespace nelkadb

#endif
