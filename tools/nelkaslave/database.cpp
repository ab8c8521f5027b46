#include "database.h"

#include <chrono>
#include <limits>
#include <memory>
#include <string_view>

#include <sqlite3.h>

#include "ending.h"
#include "refusal.h"

namespace nelkaslave {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds longestQuery{10};
constexpr std::size_t largestTable = 32U << 20U;
constexpr std::size_t costOfCell = 256; // memory of an XML-RPC value without its content
constexpr int longestWaitForOthers = 1000;

[[noreturn]] void throwDatabaseError(sqlite3* database)
{
    switch (sqlite3_errcode(database)) {
    case SQLITE_FULL:
    case SQLITE_IOERR:
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
        throw Refusal(storageError, sqlite3_errmsg(database));
    default:
        throw Refusal(databaseError, sqlite3_errmsg(database));
    }
}

struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
};

struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

using Connection = std::unique_ptr<sqlite3, Close>;
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

Connection open(const std::filesystem::path& file, int flags)
{
    sqlite3* database = nullptr;
    const int result = sqlite3_open_v2(file.c_str(), &database, flags | SQLITE_OPEN_READWRITE, nullptr);
    Connection connection(database);
    if (result != SQLITE_OK)
        throwDatabaseError(database);
    sqlite3_busy_timeout(database, longestWaitForOthers);
    sqlite3_limit(database, SQLITE_LIMIT_LENGTH, static_cast<int>(largestTable));
    return connection;
}

void run(const Connection& connection, const std::string& script)
{
    if (sqlite3_exec(connection.get(), script.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throwDatabaseError(connection.get());
}

// An acknowledged write is on the disk, and so is the removal of its journal, which would undo it.
Connection openToWrite(const std::filesystem::path& file, int flags = 0)
{
    Connection connection = open(file, flags);
    run(connection, "PRAGMA synchronous = EXTRA");
    return connection;
}

Statement prepare(const Connection& connection, const char* query, const char** rest)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection.get(), query, -1, &statement, rest) != SQLITE_OK)
        throwDatabaseError(connection.get());
    return Statement(statement);
}

// Blanks, comments and semicolons may surround the one statement.
Statement prepareOne(const Connection& connection, const std::string& query)
{
    const char* rest = query.c_str();
    Statement only;
    while (*rest) {
        Statement statement = prepare(connection, rest, &rest);
        if (statement && only)
            throw Refusal(databaseError, "more than one statement");
        if (statement)
            only = std::move(statement);
    }
    if (!only)
        throw Refusal(databaseError, "no statement");
    return only;
}

bool step(const Connection& connection, const Statement& statement)
{
    const int result = sqlite3_step(statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        throwDatabaseError(connection.get());
    return result == SQLITE_ROW;
}

// Interrupts a statement that takes too long, or that delays the slave's end.
class Deadline {
public:
    explicit Deadline(const Connection& connection) { sqlite3_progress_handler(connection.get(), 1000, passed, this); }

private:
    static int passed(void* self) { return ending() || Clock::now() > static_cast<Deadline*>(self)->end; }

    const Clock::time_point end = Clock::now() + longestQuery;
};

// What a statement may do. None may change to another database, end its transaction or change settings.

int allowReading(void*, int action, const char* first, const char*, const char*, const char*)
{
    switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_FUNCTION:
    case SQLITE_RECURSIVE:
        return SQLITE_OK;
    case SQLITE_PRAGMA:
        return std::string_view(first) == "table_info" || std::string_view(first) == "table_list" ? SQLITE_OK
                                                                                                  : SQLITE_DENY;
    default:
        return SQLITE_DENY;
    }
}

struct Change {
    const std::string& table;
    bool makesIndex = false;
};

int allowChanging(void* context, int action, const char* first, const char* second, const char*, const char* trigger)
{
    Change& change = *static_cast<Change*>(context);
    const char* changed = nullptr;
    switch (action) {
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
    case SQLITE_PRAGMA:
        return SQLITE_DENY;
    case SQLITE_REINDEX: // which names only the index
        return change.makesIndex ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_INSERT:
    case SQLITE_UPDATE:
    case SQLITE_DELETE:
    case SQLITE_ANALYZE:
    case SQLITE_CREATE_TABLE:
    case SQLITE_CREATE_VIEW:
    case SQLITE_DROP_VIEW:
        changed = first;
        break;
    case SQLITE_ALTER_TABLE:
    case SQLITE_CREATE_INDEX:
        change.makesIndex = true;
        changed = second;
        break;
    case SQLITE_DROP_INDEX:
    case SQLITE_CREATE_TRIGGER:
    case SQLITE_DROP_TRIGGER:
        changed = second;
        break;
    default:
        return SQLITE_OK;
    }
    // A trigger may write to any table, and SQLite's internal tables follow from the statement.
    const bool meant = trigger || std::string_view(changed).starts_with("sqlite_")
                       || sqlite3_stricmp(changed, change.table.c_str()) == 0;
    return meant ? SQLITE_OK : SQLITE_DENY;
}

int userVersion(const Connection& connection)
{
    const char* rest = nullptr;
    const Statement statement = prepare(connection, "PRAGMA user_version", &rest);
    step(connection, statement);
    return sqlite3_column_int(statement.get(), 0);
}

std::string_view bytesOf(sqlite3_stmt* statement, int column, const void* bytes)
{
    return {static_cast<const char*>(bytes), static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
}

Value cell(sqlite3_stmt* statement, int column)
{
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
        return nil();
    case SQLITE_INTEGER: {
        const sqlite3_int64 number = sqlite3_column_int64(statement, column);
        const bool fits = number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
        return fits ? integer(static_cast<int>(number)) : integer64(number);
    }
    case SQLITE_FLOAT:
        return realOrText(sqlite3_column_double(statement, column));
    case SQLITE_TEXT: {
        const void* characters = sqlite3_column_text(statement, column);
        return textOrBlock(bytesOf(statement, column, characters));
    }
    default: {
        const void* bytes = sqlite3_column_blob(statement, column);
        return block(bytesOf(statement, column, bytes));
    }
    }
}

} // namespace

Value Databases::table(const std::string& database, const std::string& query) const
{
    const Connection connection = open(file(database), 0);
    const Deadline deadline(connection);
    sqlite3_set_authorizer(connection.get(), allowReading, nullptr);
    const Statement statement = prepareOne(connection, query);
    if (!sqlite3_stmt_readonly(statement.get()))
        throw Refusal(databaseError, "the statement writes");

    const int columns = sqlite3_column_count(statement.get());
    Value names = emptyArray();
    for (int column = 0; column < columns; ++column)
        append(names, text(sqlite3_column_name(statement.get(), column)));
    Value rows = array(names);

    std::size_t size = 0;
    while (step(connection, statement)) {
        Value row = emptyArray();
        for (int column = 0; column < columns; ++column) {
            append(row, cell(statement.get(), column));
            size += costOfCell + static_cast<std::size_t>(sqlite3_column_bytes(statement.get(), column));
        }
        if (size > largestTable)
            throw Refusal(databaseError, "too many rows to be sent");
        append(rows, row);
    }
    return rows;
}

int Databases::execute(const std::string& database, const std::string& table, const std::string& query) const
{
    const Connection connection = openToWrite(file(database));
    const Deadline deadline(connection);
    run(connection, "BEGIN IMMEDIATE");
    Change change{table};
    sqlite3_set_authorizer(connection.get(), allowChanging, &change);
    Statement statement = prepareOne(connection, query);
    while (step(connection, statement)) {
    }
    const int changed = sqlite3_changes(connection.get());
    const bool writes = !sqlite3_stmt_readonly(statement.get());
    statement.reset();

    sqlite3_set_authorizer(connection.get(), nullptr, nullptr);
    if (writes) {
        // The count is kept in the database header, where it is part of the transaction and out of reach of queries.
        const int count = userVersion(connection);
        const int next = count == std::numeric_limits<int>::max() ? 0 : count + 1;
        run(connection, "PRAGMA user_version = " + std::to_string(next));
    }
    run(connection, "COMMIT");
    return changed;
}

int Databases::changes(const std::string& database) const
{
    return userVersion(open(file(database), 0));
}

std::filesystem::path Databases::file(const std::string& database) const
{
    const std::string_view allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
    if (database.empty() || database.size() > 64 || database.find_first_not_of(allowed) != std::string::npos)
        throw Refusal(badArgument, "not a database name: " + database);
    std::filesystem::path path = folder / (database + ".db");
    if (!std::filesystem::is_regular_file(std::filesystem::symlink_status(path)))
        throw Refusal(notFound, "no database " + database);
    return path;
}

void makeDatabase(const std::filesystem::path& file, const std::string& script)
{
    run(openToWrite(file, SQLITE_OPEN_CREATE), "BEGIN;" + script + "COMMIT;");
}

} // namespace nelkaslave
