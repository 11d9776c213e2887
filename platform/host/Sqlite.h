// SPDX-License-Identifier: Apache-2.0
// SQLite, loaded at its first use: linking it would make the start of every program a twelfth longer, also of those
// that use no setting.
#ifndef SRCWATCH_HOST_SQLITE_H
#define SRCWATCH_HOST_SQLITE_H

#include <string>

#include <sqlite3.h>

namespace host {

constexpr const char* kSqliteLibrary = "libsqlite3.so.0";

// The names are SQLite's own, without its prefix.
// NOLINTBEGIN(readability-identifier-naming)
struct Sqlite {
    decltype(&sqlite3_open_v2) open_v2;
    decltype(&sqlite3_close) close;
    decltype(&sqlite3_errstr) errstr;
    decltype(&sqlite3_system_errno) system_errno;
    decltype(&sqlite3_extended_result_codes) extended_result_codes;
    decltype(&sqlite3_busy_handler) busy_handler;
    decltype(&sqlite3_db_config) db_config;
    decltype(&sqlite3_limit) limit;
    decltype(&sqlite3_vfs_find) vfs_find;
    decltype(&sqlite3_vfs_register) vfs_register;
    decltype(&sqlite3_exec) exec;
    decltype(&sqlite3_prepare_v3) prepare_v3;
    decltype(&sqlite3_bind_int64) bind_int64;
    decltype(&sqlite3_bind_text64) bind_text64;
    decltype(&sqlite3_step) step;
    decltype(&sqlite3_reset) reset;
    decltype(&sqlite3_finalize) finalize;
    decltype(&sqlite3_column_type) column_type;
    decltype(&sqlite3_column_int64) column_int64;
    decltype(&sqlite3_column_blob) column_blob;
    decltype(&sqlite3_column_bytes) column_bytes;
    decltype(&sqlite3_last_insert_rowid) last_insert_rowid;
    decltype(&sqlite3_changes) changes;
    decltype(&sqlite3_backup_init) backup_init;
    decltype(&sqlite3_backup_step) backup_step;
    decltype(&sqlite3_backup_finish) backup_finish;
};
// NOLINTEND(readability-identifier-naming)

/// A result besides SQLite's: the database has a schema of a later version. (SQLite does not use this one.)
constexpr int kNewerSchema = SQLITE_FORMAT;

/// Returns SQLite's functions, or null, with a log line, if it cannot be loaded.
const Sqlite* LoadSqlite();

/// Returns why it cannot be loaded; empty if it can.
const std::string& WhyNoSqlite();

}  // namespace host

#endif
