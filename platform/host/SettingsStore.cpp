// SPDX-License-Identifier: Apache-2.0
#include "SettingsStore.h"

#include "Connection.h"
#include "Fork.h"
#include "Guarded.h"
#include "Handle.h"
#include "Leaked.h"
#include "Paths.h"
#include "vconf.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace host {
namespace {

constexpr const char* kDurablePrefix = "db/";
constexpr const char* kVolatilePrefix = "memory/";

// The change log is trimmed now and then, and at once after a long text.
constexpr int64_t kTrimEvery = 64;
constexpr size_t kLongText = 4096;

constexpr sqlite3_destructor_type kOwnedByCaller = nullptr;

// Reads and writes have a connection each: reading goes on while another thread's write waits for its turn.
struct Database {
    Database(const std::string& directory, const char* name, bool isDurable)
        : files(directory, name), reader(files, isDurable, &openings), writer(files, isDurable, &openings)
    {
    }

    const DatabaseFiles files;
    std::atomic<unsigned> openings{0};
    Connection reader;
    Connection writer;
};

struct Store {
    Database durable{GetPaths().stateDir, "settings.db", true};
    Database temporary{GetPaths().runDir, "volatile.db", false};
};

Database& DatabaseOf(Family family)
{
    Store& store = Leaked<Store>();
    return family == Family::kDurable ? store.durable : store.temporary;
}

bool HasPrefix(const char* key, const char* prefix)
{
    const size_t length = strlen(prefix);
    return strncmp(key, prefix, length) == 0 && key[length];
}

Database* DatabaseOf(const char* key)
{
    Family family = Family::kDurable;
    return FamilyOf(key, &family) ? &DatabaseOf(family) : nullptr;
}

int ErrorOf(int result)
{
    switch (result & 0xff) {
        case SQLITE_OK:
            return 0;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_PROTOCOL:
            return -EBUSY;
        case SQLITE_FULL:
            return -ENOSPC;
        case SQLITE_READONLY:
            return -EROFS;
        case SQLITE_NOMEM:
            return -ENOMEM;
        case SQLITE_TOOBIG:
            return -E2BIG;
        default:
            return -EIO;
    }
}

// One row that a statement is at.
class Row {
public:
    Row(const Sqlite& api, sqlite3_stmt* statement) : m_api(api), m_statement(statement) {}

    int Type(int column) const { return m_api.column_type(m_statement, column); }
    int64_t Integer(int column) const { return m_api.column_int64(m_statement, column); }

    // The bytes as they are stored, without a copy; valid until the next step. The order of the calls matters.
    const char* Bytes(int column, size_t* length) const
    {
        const void* bytes = m_api.column_blob(m_statement, column);
        *length = static_cast<size_t>(m_api.column_bytes(m_statement, column));
        return static_cast<const char*>(bytes);
    }

    std::string Text(int column) const
    {
        size_t length = 0;
        const char* bytes = Bytes(column, &length);
        return bytes ? std::string(bytes, length) : std::string();
    }

private:
    const Sqlite& m_api;
    sqlite3_stmt* m_statement;
};

int BindText(Connection& connection, sqlite3_stmt* statement, int index, const char* text, size_t length)
{
    return connection.Api().bind_text64(statement, index, text, length, kOwnedByCaller, SQLITE_UTF8);
}

int BindValue(Connection& connection, sqlite3_stmt* statement, int index, const srcwatch_host_value* value)
{
    if (!value) return connection.Api().bind_null(statement, index);
    if (value->text) return BindText(connection, statement, index, value->text, strlen(value->text));
    return connection.Api().bind_int64(statement, index, value->number);
}

// Ends a statement, and with it a read transaction, also when memory runs out in between.
struct EndOfStatement {
    ~EndOfStatement() { (void)api.reset(statement); }  // its result has been seen
    const Sqlite& api;
    sqlite3_stmt* statement;
};

template <typename Visit>
int ForEachRow(Connection& connection, sqlite3_stmt* statement, Visit visit)
{
    const Sqlite& api = connection.Api();
    const EndOfStatement end = {api, statement};
    int result = SQLITE_OK;
    while ((result = api.step(statement)) == SQLITE_ROW) visit(Row(api, statement));
    return result == SQLITE_DONE ? SQLITE_OK : result;
}

int Run(Connection& connection, sqlite3_stmt* statement)
{
    (void)connection.Api().step(statement);  // reset tells its result
    return connection.Api().reset(statement);
}

// Reads one setting; decode(row) returns what the reading gives.
template <typename Decode>
int ReadSetting(const char* key, Decode decode)
{
    Database* database = DatabaseOf(key);
    if (!database) return -EINVAL;

    int found = -ENOENT;
    const int result = database->reader.Read("read", [key, decode, &found](Connection& connection) {
        found = -ENOENT;
        sqlite3_stmt* statement = nullptr;
        int status = connection.Prepare(kGetValue, &statement);
        if (status == SQLITE_OK) status = BindText(connection, statement, 1, key, strlen(key));
        if (status != SQLITE_OK) return status;

        const Sqlite& api = connection.Api();
        if (api.step(statement) == SQLITE_ROW) found = decode(Row(api, statement));
        return api.reset(statement);
    });
    return result == SQLITE_OK ? found : ErrorOf(result);
}

int DecodeNumber(const Row& row, int column, int* number)
{
    if (row.Type(column) != SQLITE_INTEGER) return -EPROTOTYPE;
    const int64_t value = row.Integer(column);
    if (value < INT_MIN || value > INT_MAX) return -EPROTOTYPE;
    *number = static_cast<int>(value);
    return 0;
}

using CText = srcwatch::Handle<char, free>;

int DecodeText(const Row& row, CText* text)
{
    if (row.Type(0) != SQLITE_TEXT) return -EPROTOTYPE;
    size_t length = 0;
    const char* bytes = row.Bytes(0, &length);
    if (!bytes && length > 0) return -ENOMEM;

    text->reset(static_cast<char*>(malloc(length + 1)));
    if (!*text) return -ENOMEM;
    if (length > 0) memcpy(text->get(), bytes, length);
    text->get()[length] = '\0';
    return 0;
}

int Put(Connection& connection, const char* key, const srcwatch_host_value* value)
{
    sqlite3_stmt* statement = nullptr;
    int result = connection.Prepare(value ? kPutValue : kRemoveValue, &statement);
    if (result == SQLITE_OK) result = BindText(connection, statement, 1, key, strlen(key));
    if (result == SQLITE_OK && value) result = BindValue(connection, statement, 2, value);
    return result == SQLITE_OK ? Run(connection, statement) : result;
}

int TrimChanges(Connection& connection, int64_t newest)
{
    sqlite3_stmt* statement = nullptr;
    int result = connection.Prepare(kTrimChanges, &statement);
    if (result == SQLITE_OK) result = connection.Api().bind_int64(statement, 1, newest);
    return result == SQLITE_OK ? Run(connection, statement) : result;
}

int AppendChange(Connection& connection, const char* key, const srcwatch_host_value* value)
{
    const size_t bytes = strlen(key) + (value && value->text ? strlen(value->text) : 0);
    sqlite3_stmt* statement = nullptr;
    int result = connection.Prepare(kAppendChange, &statement);
    if (result == SQLITE_OK) result = BindText(connection, statement, 1, key, strlen(key));
    if (result == SQLITE_OK) result = BindValue(connection, statement, 2, value);
    if (result == SQLITE_OK) result = connection.Api().bind_int64(statement, 3, static_cast<int64_t>(bytes));
    if (result == SQLITE_OK) result = Run(connection, statement);
    if (result != SQLITE_OK) return result;

    const int64_t newest = connection.Api().last_insert_rowid(connection.Handle());
    return newest % kTrimEvery == 0 || bytes > kLongText ? TrimChanges(connection, newest) : SQLITE_OK;
}

// The removal of an absent setting is no change.
int PutAndAppend(Connection& connection, const char* key, const srcwatch_host_value* value)
{
    const int result = Put(connection, key, value);
    if (result != SQLITE_OK || connection.Api().changes(connection.Handle()) == 0) return result;
    return AppendChange(connection, key, value);
}

int Transact(Connection& connection, const char* key, const srcwatch_host_value* value)
{
    int result = connection.Execute(kBegin);
    if (result != SQLITE_OK) return result;

    result = PutAndAppend(connection, key, value);
    if (result == SQLITE_OK) result = connection.Execute(kCommit);
    if (result != SQLITE_OK) (void)connection.Execute(kRollback);  // SQLite may have done so itself already
    return result;
}

Setting DecodeSetting(const Row& row, int keyColumn)
{
    Setting setting = {row.Text(keyColumn), Setting::Type::kRemoved, 0, {}};
    if (row.Type(keyColumn + 1) == SQLITE_TEXT) {
        setting.type = Setting::Type::kText;
        setting.text = row.Text(keyColumn + 1);
    } else if (DecodeNumber(row, keyColumn + 1, &setting.number) == 0) {
        setting.type = Setting::Type::kNumber;
    }
    return setting;
}

int ReadAll(Family family, std::vector<Setting>* settings)
{
    return ErrorOf(DatabaseOf(family).reader.Read("list", [settings](Connection& connection) {
        settings->clear();
        sqlite3_stmt* statement = nullptr;
        const int result = connection.Prepare(kListSettings, &statement);
        if (result != SQLITE_OK) return result;
        return ForEachRow(connection, statement,
                          [settings](const Row& row) { settings->push_back(DecodeSetting(row, 0)); });
    }));
}

// Goes back to the beginning when the database is another one than the position's.
void Adjust(Position* position, int64_t store)
{
    if (position->store != store) *position = {store, 0};
}

// Takes in one row of the change log.
void Collect(const Row& row, const std::function<bool(const char*)>& wanted, Position* position,
             std::vector<Change>* changes, int64_t* missed)
{
    const int64_t number = row.Integer(0);
    *missed += number - position->change - 1;  // numbers have no gaps but at the log's beginning
    position->change = number;
    Setting setting = DecodeSetting(row, 1);
    if (wanted(setting.key.c_str())) changes->push_back({number, std::move(setting)});
}

int ListFamily(Family family, srcwatch_host_setting_cb callback, void* userData)
{
    std::vector<Setting> settings;
    const int result = ReadAll(family, &settings);
    for (const Setting& setting : settings) setting.Tell(callback, userData);
    return result;
}

}  // namespace

void SettingsStoreBeforeFork()
{
    for (const Family family : kFamilies) {
        DatabaseOf(family).reader.LockAndClose();
        DatabaseOf(family).writer.LockAndClose();
    }
}

void SettingsStoreAfterFork()
{
    for (const Family family : kFamilies) {
        DatabaseOf(family).reader.Unlock();
        DatabaseOf(family).writer.Unlock();
    }
}

bool FamilyOf(const char* key, Family* family)
{
    if (!key) return false;
    const bool isDurable = HasPrefix(key, kDurablePrefix);
    *family = isDurable ? Family::kDurable : Family::kVolatile;
    return isDurable || HasPrefix(key, kVolatilePrefix);
}

const std::string& DirectoryOf(Family family) { return DatabaseOf(family).files.Directory(); }

int ReadNumber(const char* key, int* number)
{
    return ReadSetting(key, [number](const Row& row) { return DecodeNumber(row, 0, number); });
}

int ReadText(const char* key, char** text)
{
    CText copy;  // a read that is done again gives another
    const int result = ReadSetting(key, [&copy](const Row& row) { return DecodeText(row, &copy); });
    if (result == 0) *text = copy.release();
    return result;
}

int WriteValue(const char* key, const srcwatch_host_value* value)
{
    Database* database = DatabaseOf(key);
    if (!database) return -EINVAL;

    const int result = database->writer.Write(
        "write", [key, value](Connection& connection) { return Transact(connection, key, value); });
    if (result == SQLITE_OK) database->files.Wake();
    return ErrorOf(result);
}

void Setting::Tell(srcwatch_host_setting_cb callback, void* userData) const
{
    const srcwatch_host_value value = {type == Type::kText ? text.c_str() : nullptr, number};
    callback(key.c_str(), type == Type::kRemoved ? nullptr : &value, userData);
}

int NewestPosition(Family family, Position* position)
{
    return ErrorOf(DatabaseOf(family).reader.Read("read changes of", [position](Connection& connection) {
        sqlite3_stmt* statement = nullptr;
        const int result = connection.Prepare(kNewestChange, &statement);
        if (result != SQLITE_OK) return result;
        return ForEachRow(connection, statement, [position, &connection](const Row& row) {
            *position = {connection.StoreId(), row.Integer(0)};
        });
    }));
}

int ReadChanges(Family family, Position* position, const std::function<bool(const char*)>& wanted,
                std::vector<Change>* changes, int64_t* missed)
{
    Position reached;
    Connection& reader = DatabaseOf(family).reader;
    reader.LookAgain();
    const int result = reader.Read("read changes of", [&](Connection& connection) {
        reached = *position;
        changes->clear();
        *missed = 0;
        Adjust(&reached, connection.StoreId());
        sqlite3_stmt* statement = nullptr;
        int status = connection.Prepare(kChangesAfter, &statement);
        if (status == SQLITE_OK) status = connection.Api().bind_int64(statement, 1, reached.change);
        if (status != SQLITE_OK) return status;
        return ForEachRow(connection, statement,
                          [&](const Row& row) { Collect(row, wanted, &reached, changes, missed); });
    });
    if (result == SQLITE_OK) *position = reached;
    return ErrorOf(result);
}

}  // namespace host

SRCWATCH_HOST_API int vconf_get_int(const char* key, int* value)
{
    if (!value) return -EINVAL;
    return host::Guarded(-ENOMEM, [key, value] { return host::ReadNumber(key, value); });
}

SRCWATCH_HOST_API int vconf_set_int(const char* key, int value)
{
    return host::Guarded(-ENOMEM, [key, value] {
        const srcwatch_host_value number = {nullptr, value};
        return host::WriteValue(key, &number);
    });
}

SRCWATCH_HOST_API char* vconf_get_str(const char* key)
{
    return host::Guarded<char*>(nullptr, [key] {
        char* text = nullptr;
        (void)host::ReadText(key, &text);  // the caller learns no more than that there is none
        return text;
    });
}

SRCWATCH_HOST_API int vconf_set_str(const char* key, const char* value)
{
    if (!value) return -EINVAL;
    return host::Guarded(-ENOMEM, [key, value] {
        const srcwatch_host_value text = {value, 0};
        return host::WriteValue(key, &text);
    });
}

SRCWATCH_HOST_API int srcwatch_host_unset(const char* key)
{
    return host::Guarded(-ENOMEM, [key] { return host::WriteValue(key, nullptr); });
}

SRCWATCH_HOST_API int srcwatch_host_list_settings(srcwatch_host_setting_cb callback, void* user_data)
{
    if (!callback) return -EINVAL;
    return host::Guarded(-ENOMEM, [callback, user_data] {
        int result = 0;
        for (const host::Family family : host::kFamilies) {
            const int listed = host::ListFamily(family, callback, user_data);
            if (result == 0) result = listed;
        }
        return result;
    });
}
