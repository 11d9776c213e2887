// SPDX-License-Identifier: Apache-2.0
// The tables of a settings database, and all statements on them.
#ifndef SRCWATCH_HOST_SCHEMA_H
#define SRCWATCH_HOST_SCHEMA_H

#include <cstddef>
#include <cstdint>

namespace host {

constexpr std::int64_t kSchemaVersion = 1;
constexpr std::size_t kPageSize = 4096;

/// The first parts of the keys: one for each database.
constexpr const char* kDurablePrefix = "db/";
constexpr const char* kVolatilePrefix = "memory/";

/// How a connection begins: a commit to durable settings survives a power cut.
constexpr const char* DurabilitySql(bool isDurable)
{
    return isDurable ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=OFF";
}

/// settings.value is an integer or a text. A change's value is that which was written, or null for a removal;
/// changes.bytes counts the bytes of all texts written until then. The transaction is left open.
constexpr const char* kSchema =
    "PRAGMA page_size=4096;"
    "BEGIN IMMEDIATE;"
    "CREATE TABLE settings(key TEXT PRIMARY KEY NOT NULL, value NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE changes(seq INTEGER PRIMARY KEY, bytes INTEGER NOT NULL, key TEXT NOT NULL, value);"
    "CREATE TABLE store(id INTEGER NOT NULL);"
    "INSERT INTO store(id) VALUES(random());"
    "PRAGMA user_version=1";

/// The statements that are prepared once per connection.
enum StatementId {
    kGetValue,
    kListSettings,
    kNewestChange,
    kChangesAfter,
    kBegin,
    kPutValue,
    kRemoveValue,
    kAppendChange,
    kTrimChanges,
    kCommit,
    kRollback,
    kStatementCount
};

/// The newest change is never trimmed, so its number only grows.
constexpr const char* kAppendChangeSql =
    "INSERT INTO changes(bytes, key, value) "
    "VALUES(ifnull((SELECT bytes FROM changes ORDER BY seq DESC LIMIT 1), 0) + ?3, ?1, ?2)";
constexpr const char* kTrimChangesSql =
    "DELETE FROM changes "
    "WHERE seq <= ?1 - 1024 OR bytes <= (SELECT bytes FROM changes WHERE seq = ?1) - 2097152 AND seq < ?1";

/// In the order of StatementId.
constexpr const char* kStatements[] = {
    "SELECT value FROM settings WHERE key = ?1",
    "SELECT key, value FROM settings ORDER BY key",
    "SELECT ifnull(max(seq), 0) FROM changes",
    "SELECT seq, key, value FROM changes WHERE seq > ?1 ORDER BY seq",
    "BEGIN IMMEDIATE",
    "INSERT INTO settings(key, value) VALUES(?1, ?2) ON CONFLICT(key) DO UPDATE SET value = excluded.value",
    "DELETE FROM settings WHERE key = ?1",
    kAppendChangeSql,
    kTrimChangesSql,
    "COMMIT",
    "ROLLBACK",
};
static_assert(sizeof kStatements / sizeof *kStatements == kStatementCount);

}  // namespace host

#endif
