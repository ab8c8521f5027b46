// The databases that a master queries.
#pragma once

#include <filesystem>
#include <string>
#include <utility>

#include "wire.h"

namespace nelkaslave {

/// SQLite databases DATABASE.db in a folder. Every call refuses an invalid name with `badArgument`, a missing database
/// with `notFound`, an error of the disk with `storageError`, and any other error of SQLite with `databaseError`.
class Databases {
public:
    explicit Databases(std::filesystem::path where) : folder(std::move(where)) {}

    /// A row of column names, then the rows of one statement that only reads.
    Value table(const std::string& database, const std::string& query) const;

    /// Runs one statement, completely or not at all, that changes no table but the one named. Returns the number of
    /// rows changed.
    int execute(const std::string& database, const std::string& table, const std::string& query) const;

    /// How many writing statements have been executed since the database was created.
    int changes(const std::string& database) const;

private:
    std::filesystem::path file(const std::string& database) const;

    std::filesystem::path folder;
};

/// Creates the database `file` by running `script`.
void makeDatabase(const std::filesystem::path& file, const std::string& script);

} // namespace nelkaslave
