// The databases that a master queries.
#pragma once

#include <filesystem>
#include <string>

#include "wire.h"

namespace nelkaslave {

/// SQLite databases in a folder, DATABASE.db each. Every call refuses a name that is none with `badArgument`, a
/// database that is not there with `notFound`, what the disk is to blame for with `storageError`, and whatever else
/// SQLite objects to with `databaseError`.
class Databases {
public:
    explicit Databases(std::filesystem::path where) : folder(std::move(where)) {}

    /// The rows of one statement that only reads, under a row of column names.
    Value table(const std::string& database, const std::string& query) const;

    /// Runs one statement that changes no table but the one named, as a whole or not at all. Returns the number of
    /// rows it changed.
    int execute(const std::string& database, const std::string& table, const std::string& query) const;

    /// How many statements that write have been executed since the database was made.
    int changes(const std::string& database) const;

private:
    std::filesystem::path file(const std::string& database) const;

    std::filesystem::path folder;
};

/// Makes the database `file` by running `script`.
void makeDatabase(const std::filesystem::path& file, const std::string& script);

} // namespace nelkaslave
