// SPDX-License-Identifier: Apache-2.0
#include "WholeDatabase.h"

#include "FileAccess.h"
#include "Schema.h"

#include <climits>

namespace host {
namespace {

struct Option {
    int option;
    int value;
};
constexpr Option kOptions[] = {
    {SQLITE_DBCONFIG_DEFENSIVE, 1},
    {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
    {SQLITE_DBCONFIG_ENABLE_VIEW, 0},
    {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
};
constexpr Option kLimits[] = {
    {SQLITE_LIMIT_LENGTH, 67108864}, {SQLITE_LIMIT_SQL_LENGTH, 4096}, {SQLITE_LIMIT_EXPR_DEPTH, 20},
    {SQLITE_LIMIT_ATTACHED, 0},      {SQLITE_LIMIT_TRIGGER_DEPTH, 1},
};

// A connection that ends with the object.
class Handle {
public:
    Handle(const Sqlite& api, const std::string& name, int flags) : m_api(api)
    {
        m_result = api.open_v2(name.c_str(), &m_database, flags | SQLITE_OPEN_NOMUTEX, UseFileAccess(api));
        if (m_result == SQLITE_OK) Distrust(api, m_database);
    }
    // Fails only while statements exist.
    ~Handle() { static_cast<void>(m_api.close(m_database)); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    sqlite3* Get() const { return m_database; }
    int Result() const { return m_result; }
    int Run(const char* sql) const { return m_api.exec(m_database, sql, nullptr, nullptr, nullptr); }

private:
    const Sqlite& m_api;
    sqlite3* m_database = nullptr;
    int m_result;
};

// A statement that ends with the object.
class Query {
public:
    Query(const Sqlite& api, sqlite3* database, const char* sql) : m_api(api)
    {
        m_result = api.prepare_v3(database, sql, -1, 0, &m_statement, nullptr);
    }
    ~Query() { static_cast<void>(m_api.finalize(m_statement)); }  // repeats the last result
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    sqlite3_stmt* Get() const { return m_statement; }

    // Returns SQLITE_ROW, SQLITE_DONE or a failure.
    int Step() { return m_result == SQLITE_OK ? m_api.step(m_statement) : m_result; }
    void Reset() { static_cast<void>(m_api.reset(m_statement)); }  // repeats the last result

private:
    const Sqlite& m_api;
    sqlite3_stmt* m_statement = nullptr;
    int m_result;
};

void BindText(const Sqlite& api, sqlite3_stmt* statement, int index, const std::string& text)
{
    constexpr sqlite3_destructor_type kOwnedByCaller = nullptr;
    static_cast<void>(api.bind_text64(statement, index, text.data(), text.size(), kOwnedByCaller, SQLITE_UTF8));
}

// What cannot be bound is null, which the table refuses.
int Insert(const Sqlite& api, sqlite3* database, const Values& values)
{
    Query insert(api, database, "INSERT INTO settings(key, value) VALUES(?1, ?2)");
    for (const auto& [key, value] : values) {
        BindText(api, insert.Get(), 1, key);
        if (const auto* number = std::get_if<int>(&value)) {
            static_cast<void>(api.bind_int64(insert.Get(), 2, *number));
        } else {
            BindText(api, insert.Get(), 2, std::get<std::string>(value));
        }
        const int result = insert.Step();
        if (result != SQLITE_DONE) return result;
        insert.Reset();
    }
    return SQLITE_OK;
}

int Backup(const Sqlite& api, sqlite3* from, sqlite3* to)
{
    sqlite3_backup* backup = api.backup_init(to, "main", from, "main");
    if (backup == nullptr) return SQLITE_NOMEM;
    constexpr int kAllPages = -1;
    const int result = api.backup_step(backup, kAllPages);
    static_cast<void>(api.backup_finish(backup));  // repeats the result of the step
    return result == SQLITE_DONE ? SQLITE_OK : result;
}

int ReadValues(const Sqlite& api, sqlite3* database, Values* values)
{
    Query list(api, database, "SELECT key, value FROM settings");
    int result = SQLITE_OK;
    while ((result = list.Step()) == SQLITE_ROW) {
        const auto text = [&api, &list](int column) {
            const auto* bytes = static_cast<const char*>(api.column_blob(list.Get(), column));
            const auto size = static_cast<std::size_t>(api.column_bytes(list.Get(), column));
            return bytes == nullptr ? std::string() : std::string(bytes, size);
        };
        const std::int64_t number = api.column_int64(list.Get(), 1);
        if (api.column_type(list.Get(), 1) == SQLITE_TEXT) {
            (*values)[text(0)] = text(1);
        } else if (number >= INT_MIN && number <= INT_MAX) {
            (*values)[text(0)] = static_cast<int>(number);
        }
    }
    return result == SQLITE_DONE ? SQLITE_OK : result;
}

}  // namespace

void Distrust(const Sqlite& api, sqlite3* database)
{
    for (const auto& [option, value] : kOptions) static_cast<void>(api.db_config(database, option, value, nullptr));
    for (const auto& [limit, value] : kLimits) static_cast<void>(api.limit(database, limit, value));
}

// In a rollback journal, so that all is in the file at the end. What uses it next writes to a log.
int CreateDatabase(const Sqlite& api, const std::string& path, bool isDurable, const Values& values)
{
    const Handle database(api, path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    int result = database.Result();
    if (result == SQLITE_OK) result = database.Run(DurabilitySql(isDurable));
    if (result == SQLITE_OK) result = database.Run(kSchema);
    if (result == SQLITE_OK) result = Insert(api, database.Get(), values);
    if (result == SQLITE_OK) result = database.Run("COMMIT");
    if (result == SQLITE_OK) result = database.Run("PRAGMA journal_mode=WAL");
    return result;
}

int CopyDatabase(const Sqlite& api, sqlite3* from, const std::string& path)
{
    const Handle copy(api, path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    int result = copy.Result();
    if (result == SQLITE_OK) result = Backup(api, from, copy.Get());
    return result == SQLITE_OK ? CheckDatabase(api, copy.Get()) : result;
}

// SQLite cannot know what belongs in a text. No setting has a zero byte in it.
int CheckDatabase(const Sqlite& api, sqlite3* database)
{
    std::int64_t faults = 0;
    int result = QueryNumber(api, database,
                             "SELECT count(*) FROM pragma_integrity_check(1) WHERE integrity_check <> 'ok'", &faults);
    if (result == SQLITE_OK && faults == 0) {
        result = QueryNumber(
            api, database, "SELECT count(*) FROM settings WHERE instr(key, char(0)) OR instr(value, char(0))", &faults);
    }
    return result == SQLITE_OK && faults > 0 ? SQLITE_CORRUPT : result;
}

int ReadDatabase(const Sqlite& api, const std::string& path, Values* values)
{
    const Handle database(api, UriOfSnapshot(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    std::int64_t version = 0;
    int result = database.Result();
    if (result == SQLITE_OK) result = QueryNumber(api, database.Get(), "PRAGMA user_version", &version);
    if (result == SQLITE_OK && version != kSchemaVersion)
        result = version > kSchemaVersion ? kNewerSchema : SQLITE_NOTADB;
    if (result == SQLITE_OK) result = CheckDatabase(api, database.Get());
    return result == SQLITE_OK ? ReadValues(api, database.Get(), values) : result;
}

int QueryNumber(const Sqlite& api, sqlite3* database, const char* sql, std::int64_t* number)
{
    Query query(api, database, sql);
    const int result = query.Step();
    if (result == SQLITE_ROW) *number = api.column_int64(query.Get(), 0);
    return result == SQLITE_ROW ? SQLITE_OK : result == SQLITE_DONE ? SQLITE_CORRUPT : result;
}

std::string UriOfSnapshot(const std::string& path)
{
    std::string uri = "file:";
    for (const char character : path) {
        uri += character == '%'   ? "%25"
               : character == '?' ? "%3f"
               : character == '#' ? "%23"
                                  : std::string(1, character);
    }
    return uri + "?immutable=1";
}

}  // namespace host
