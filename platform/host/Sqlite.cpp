// SPDX-License-Identifier: Apache-2.0
#include "Sqlite.h"

#include "Leaked.h"
#include "Log.h"

#include <dlfcn.h>

namespace host {
namespace {

struct Loaded {
    Loaded()
    {
        // Never unloaded: connections stay open as long as the process runs.
        m_library = dlopen(kSqliteLibrary, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        isComplete = m_library != nullptr;
        Resolve("sqlite3_open_v2", &api.open_v2);
        Resolve("sqlite3_close", &api.close);
        Resolve("sqlite3_errstr", &api.errstr);
        Resolve("sqlite3_system_errno", &api.system_errno);
        Resolve("sqlite3_extended_result_codes", &api.extended_result_codes);
        Resolve("sqlite3_busy_handler", &api.busy_handler);
        Resolve("sqlite3_db_config", &api.db_config);
        Resolve("sqlite3_limit", &api.limit);
        Resolve("sqlite3_vfs_find", &api.vfs_find);
        Resolve("sqlite3_vfs_register", &api.vfs_register);
        Resolve("sqlite3_exec", &api.exec);
        Resolve("sqlite3_prepare_v3", &api.prepare_v3);
        Resolve("sqlite3_bind_int64", &api.bind_int64);
        Resolve("sqlite3_bind_text64", &api.bind_text64);
        Resolve("sqlite3_step", &api.step);
        Resolve("sqlite3_reset", &api.reset);
        Resolve("sqlite3_finalize", &api.finalize);
        Resolve("sqlite3_column_type", &api.column_type);
        Resolve("sqlite3_column_int64", &api.column_int64);
        Resolve("sqlite3_column_blob", &api.column_blob);
        Resolve("sqlite3_column_bytes", &api.column_bytes);
        Resolve("sqlite3_last_insert_rowid", &api.last_insert_rowid);
        Resolve("sqlite3_changes", &api.changes);
        Resolve("sqlite3_backup_init", &api.backup_init);
        Resolve("sqlite3_backup_step", &api.backup_step);
        Resolve("sqlite3_backup_finish", &api.backup_finish);
        if (isComplete) return;
        failure = dlerror();
        LogHost(DLOG_ERROR, "cannot load %s, so there are no settings: %s", kSqliteLibrary, failure.c_str());
    }

    Sqlite api = {};
    bool isComplete = false;
    std::string failure;

private:
    template <typename Function>
    void Resolve(const char* name, Function* function)
    {
        if (isComplete) *function = reinterpret_cast<Function>(dlsym(m_library, name));
        isComplete = isComplete && *function != nullptr;
    }

    void* m_library = nullptr;
};

}  // namespace

const Sqlite* LoadSqlite()
{
    const Loaded& loaded = Leaked<Loaded>();
    return loaded.isComplete ? &loaded.api : nullptr;
}

const std::string& WhyNoSqlite() { return Leaked<Loaded>().failure; }

}  // namespace host
