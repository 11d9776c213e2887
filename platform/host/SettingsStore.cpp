// SPDX-License-Identifier: Apache-2.0
#include "SettingsStore.h"

#include "Connection.h"
#include "Fork.h"
#include "Guarded.h"
#include "Handle.h"
#include "Leaked.h"
#include "Log.h"
#include "Paths.h"
#include "Statement.h"
#include "vconf.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <set>

namespace host {
namespace {

// The change log is trimmed now and then, and at once after a long text.
constexpr std::int64_t kTrimEvery = 64;
constexpr std::size_t kLongText = 4096;

constexpr std::size_t kLargest = 1048576;  // bytes of a key, and of a text

// Reads and writes have a connection each: reading goes on while another thread's write waits for its turn.
struct Database {
    Database(const std::string& directory, const char* name, bool isDurable)
        : files(directory, name), reader(files, isDurable, &shared), writer(files, isDurable, &shared)
    {
    }

    const DatabaseFiles files;
    SharedByConnections shared;
    std::atomic<bool> hasRefused{false};  // a value for its size, and logged it
    std::set<std::string> unread;         // keys whose texts were too large to be read, and logged; used by the reader
    Connection reader;
    Connection writer;
};

struct Store {
    Database databases[kFamilyCount] = {{GetPaths().stateDir, "settings.db", true},
                                        {GetPaths().runDir, "volatile.db", false}};
};

Database& DatabaseOf(Family family) { return Leaked<Store>().databases[family]; }

bool HasPrefix(const char* key, const char* prefix)
{
    const std::size_t length = std::strlen(prefix);
    return std::strncmp(key, prefix, length) == 0 && key[length] != '\0';
}

// An earlier version stored texts of any size. SQLite has such a text in memory as long as it is at its row, and nobody
// copies it.
bool IsTooLarge(const Statement& row, int column)
{
    return row.Type(column) == SQLITE_TEXT && row.Length(column) > kLargest;
}

void LogUnread(Database* database, const std::string& key)
{
    if (database->unread.insert(key).second)
        LogHost(DLOG_ERROR, "cannot read %.100s: it is larger than %zu bytes", key.c_str(), kLargest);
}

// Reads one setting; decode(row) returns 0 or a negative errno value.
template <typename Decode>
int ReadSetting(const char* key, Decode decode)
{
    const std::optional<Family> family = FamilyOf(key);
    if (!family) return -EINVAL;

    Database& database = DatabaseOf(*family);
    int found = -ENOENT;
    const int result = database.reader.Read("read", [key, decode, &found, &database](Connection& connection) {
        found = -ENOENT;
        const int read = Statement(connection, kGetValue).BindText(1, key).Run([decode, &found](const Statement& row) {
            found = IsTooLarge(row, 0) ? -E2BIG : decode(row);
        });
        if (found == -E2BIG) LogUnread(&database, key);
        return read;
    });
    return result == SQLITE_OK ? found : ErrorOf(result);
}

int DecodeNumber(const Statement& row, int column, int* number)
{
    if (row.Type(column) != SQLITE_INTEGER) return -EPROTOTYPE;
    const std::int64_t value = row.Number(column);
    if (value < INT_MIN || value > INT_MAX) return -EPROTOTYPE;
    *number = static_cast<int>(value);
    return 0;
}

using CText = srcwatch::Handle<char, std::free>;

int DecodeText(const Statement& row, CText* text)
{
    if (row.Type(0) != SQLITE_TEXT) return -EPROTOTYPE;
    const char* bytes = row.Bytes(0);
    const std::size_t length = row.Length(0);
    if (bytes == nullptr && length > 0) return -ENOMEM;

    text->reset(static_cast<char*>(std::malloc(length + 1)));
    if (!*text) return -ENOMEM;
    if (length > 0) std::memcpy(text->get(), bytes, length);
    text->get()[length] = '\0';
    return 0;
}

void BindValue(Statement* statement, int index, const srcwatch_host_value* value)
{
    if (value == nullptr || value->text != nullptr) {
        statement->BindText(index, value == nullptr ? nullptr : value->text);
    } else {
        statement->BindNumber(index, value->number);
    }
}

int Put(Connection& connection, const char* key, const srcwatch_host_value* value)
{
    if (value == nullptr) return Statement(connection, kRemoveValue).BindText(1, key).Run();
    Statement put(connection, kPutValue);
    BindValue(&put.BindText(1, key), 2, value);
    return put.Run();
}

int AppendChange(Connection& connection, const char* key, const srcwatch_host_value* value)
{
    const bool hasText = value != nullptr && value->text != nullptr;
    const std::size_t bytes = std::strlen(key) + (hasText ? std::strlen(value->text) : 0);
    Statement append(connection, kAppendChange);
    BindValue(&append.BindText(1, key).BindNumber(3, static_cast<std::int64_t>(bytes)), 2, value);
    const int result = append.Run();
    if (result != SQLITE_OK) return result;

    const std::int64_t newest = connection.Api().last_insert_rowid(connection.Handle());
    if (newest % kTrimEvery != 0 && bytes <= kLongText) return SQLITE_OK;
    return Statement(connection, kTrimChanges).BindNumber(1, newest).Run();
}

// The removal of an absent setting is not a change.
int PutAndAppend(Connection& connection, const char* key, const srcwatch_host_value* value)
{
    const int result = Put(connection, key, value);
    if (result != SQLITE_OK || connection.Api().changes(connection.Handle()) == 0) return result;
    return AppendChange(connection, key, value);
}

// What a writer needs is prepared before it locks others out.
int PrepareToWrite(Connection& connection)
{
    int result = SQLITE_OK;
    sqlite3_stmt* ignored = nullptr;
    for (const StatementId id : {kPutValue, kRemoveValue, kAppendChange, kTrimChanges, kCommit, kRollback})
        if (result == SQLITE_OK) result = connection.Prepare(id, &ignored);
    return result;
}

template <typename Body>
int Transact(Connection& connection, Body body)
{
    int result = PrepareToWrite(connection);
    if (result == SQLITE_OK) result = Statement(connection, kBegin).Run();
    if (result != SQLITE_OK) return result;

    result = body();
    if (result == SQLITE_OK) result = Statement(connection, kCommit).Run();
    // SQLite may have rolled back by itself already.
    if (result != SQLITE_OK) static_cast<void>(Statement(connection, kRollback).Run());
    return result;
}

bool IsValue(const Statement& row, const Value& value)
{
    const auto* number = std::get_if<int>(&value);
    if (row.Type(1) == SQLITE_TEXT) return number == nullptr && row.Text(1) == std::get<std::string>(value);
    return number != nullptr && row.Type(1) == SQLITE_INTEGER && row.Number(1) == *number;
}

int PutDifferences(Connection& connection, const Values& values)
{
    std::vector<std::string> surplus;
    Values different = values;
    int result = Statement(connection, kListSettings).Run([&](const Statement& row) {
        const auto found = different.find(row.Text(0));
        if (found == different.end()) {
            surplus.push_back(row.Text(0));
        } else if (IsValue(row, found->second)) {
            different.erase(found);
        }
    });
    for (const std::string& key : surplus)
        if (result == SQLITE_OK) result = PutAndAppend(connection, key.c_str(), nullptr);
    for (const auto& [key, value] : different) {
        const auto* text = std::get_if<std::string>(&value);
        const srcwatch_host_value put = {text != nullptr ? text->c_str() : nullptr,
                                         text != nullptr ? 0 : std::get<int>(value), 0};
        if (result == SQLITE_OK) result = PutAndAppend(connection, key.c_str(), &put);
    }
    return result;
}

Setting DecodeSetting(const Statement& row, int keyColumn)
{
    Setting setting = {row.Text(keyColumn), Setting::Type::kRemoved, 0, {}, 0};
    if (IsTooLarge(row, keyColumn + 1)) {
        setting.type = Setting::Type::kText;
        setting.unreadBytes = row.Length(keyColumn + 1);
    } else if (row.Type(keyColumn + 1) == SQLITE_TEXT) {
        setting.type = Setting::Type::kText;
        setting.text = row.Text(keyColumn + 1);
    } else if (DecodeNumber(row, keyColumn + 1, &setting.number) == 0) {
        setting.type = Setting::Type::kNumber;
    }
    return setting;
}

int ListFamily(Family family, srcwatch_host_setting_cb callback, void* userData)
{
    std::vector<Setting> settings;
    const int result = DatabaseOf(family).reader.Read("list", [&settings](Connection& connection) {
        settings.clear();
        return Statement(connection, kListSettings).Run([&settings](const Statement& row) {
            settings.push_back(DecodeSetting(row, 0));
        });
    });
    for (const Setting& setting : settings) setting.PassTo(callback, userData);
    return ErrorOf(result);
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

std::optional<Family> FamilyOf(const char* key)
{
    if (key != nullptr && HasPrefix(key, kDurablePrefix)) return kDurable;
    if (key != nullptr && HasPrefix(key, kVolatilePrefix)) return kVolatile;
    return std::nullopt;
}

const std::string& DirectoryOf(Family family) { return DatabaseOf(family).files.Directory(); }

Connection& ReaderOf(Family family) { return DatabaseOf(family).reader; }
Connection& WriterOf(Family family) { return DatabaseOf(family).writer; }
const DatabaseFiles& FilesOf(Family family) { return DatabaseOf(family).files; }

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
        case kNewerSchema:
            return -ENOTSUP;
        case SQLITE_CORRUPT:
            return -EUCLEAN;
        case SQLITE_NOTADB:
            return -EINVAL;
        default:
            return -EIO;
    }
}

int ReadNumber(const char* key, int* number)
{
    return ReadSetting(key, [number](const Statement& row) { return DecodeNumber(row, 0, number); });
}

int WriteValue(const char* key, const srcwatch_host_value* value)
{
    const std::optional<Family> family = FamilyOf(key);
    if (!family) return -EINVAL;

    Database& database = DatabaseOf(*family);
    if (std::strlen(key) > kLargest ||
        (value != nullptr && value->text != nullptr && std::strlen(value->text) > kLargest)) {
        if (!database.hasRefused.exchange(true))
            LogHost(DLOG_ERROR, "cannot write %.100s: it is larger than %zu bytes", key, kLargest);
        return -E2BIG;
    }
    const int result = database.writer.Write("write", [key, value](Connection& connection) {
        return Transact(connection, [&] { return PutAndAppend(connection, key, value); });
    });
    if (result == SQLITE_OK) {
        database.hasRefused = false;
        database.files.WakeWatchers();
    }
    return ErrorOf(result);
}

int WriteAll(Family family, const Values& values)
{
    Database& database = DatabaseOf(family);
    const int result = database.writer.Write("restore", [&values](Connection& connection) {
        return Transact(connection, [&] { return PutDifferences(connection, values); });
    });
    if (result == SQLITE_OK) database.files.WakeWatchers();
    return ErrorOf(result);
}

void Setting::PassTo(srcwatch_host_setting_cb callback, void* userData) const
{
    const srcwatch_host_value value = {type == Type::kText ? text.c_str() : nullptr, number, unreadBytes};
    callback(key.c_str(), type == Type::kRemoved ? nullptr : &value, userData);
}

int FindNewestPosition(Family family, Position* position)
{
    return ErrorOf(DatabaseOf(family).reader.Read("read changes of", [position](Connection& connection) {
        return Statement(connection, kNewestChange).Run([position, &connection](const Statement& row) {
            *position = {connection.StoreId(), row.Number(0)};
        });
    }));
}

int ReadChanges(Family family, Position* position, const std::function<bool(const char*)>& isWanted,
                std::vector<Change>* changes, std::int64_t* missed)
{
    Position reached;
    const auto collect = [&](const Statement& row) {
        const std::int64_t number = row.Number(0);
        *missed += number - reached.change - 1;  // numbers have no gaps but at the log's beginning
        reached.change = number;
        Setting setting = DecodeSetting(row, 1);
        if (isWanted(setting.key.c_str())) changes->push_back({number, std::move(setting)});
    };
    Connection& reader = DatabaseOf(family).reader;
    reader.ExpectReplacement();
    const int result = reader.Read("read changes of", [&](Connection& connection) {
        reached = *position;
        if (reached.store != connection.StoreId()) reached = {connection.StoreId(), 0};
        changes->clear();
        *missed = 0;
        return Statement(connection, kChangesAfter).BindNumber(1, reached.change).Run(collect);
    });
    if (result == SQLITE_OK) *position = reached;
    return ErrorOf(result);
}

}  // namespace host

SRCWATCH_HOST_API int vconf_get_int(const char* key, int* value)
{
    if (value == nullptr) return -EINVAL;
    return host::Guarded(-ENOMEM, [key, value] { return host::ReadNumber(key, value); });
}

SRCWATCH_HOST_API int vconf_set_int(const char* key, int value)
{
    return host::Guarded(-ENOMEM, [key, value] {
        const srcwatch_host_value number = {nullptr, value, 0};
        return host::WriteValue(key, &number);
    });
}

SRCWATCH_HOST_API char* vconf_get_str(const char* key)
{
    return host::Guarded<char*>(nullptr, [key] {
        host::CText text;
        const auto decode = [&text](const host::Statement& row) { return host::DecodeText(row, &text); };
        return host::ReadSetting(key, decode) == 0 ? text.release() : nullptr;
    });
}

SRCWATCH_HOST_API int vconf_set_str(const char* key, const char* value)
{
    if (value == nullptr) return -EINVAL;
    return host::Guarded(-ENOMEM, [key, value] {
        const srcwatch_host_value text = {value, 0, 0};
        return host::WriteValue(key, &text);
    });
}

SRCWATCH_HOST_API int srcwatch_host_unset(const char* key)
{
    return host::Guarded(-ENOMEM, [key] { return host::WriteValue(key, nullptr); });
}

SRCWATCH_HOST_API int srcwatch_host_list_settings(srcwatch_host_setting_cb callback, void* user_data)
{
    if (callback == nullptr) return -EINVAL;
    return host::Guarded(-ENOMEM, [callback, user_data] {
        int result = 0;
        for (const host::Family family : host::kFamilies) {
            const int listed = host::ListFamily(family, callback, user_data);
            if (result == 0) result = listed;
        }
        return result;
    });
}
