// SPDX-License-Identifier: Apache-2.0
#include "Sqlite.h"

#include "Leaked.h"
#include "Log.h"

#include <dlfcn.h>

namespace host {
namespace {

constexpr const char* kLibrary = "libsqlite3.so.0";

template <typename Function>
bool Resolve(void* library, const char* name, Function* function)
{
    *function = reinterpret_cast<Function>(dlsym(library, name));
    return *function != nullptr;
}

bool ResolveAll(void* library, Sqlite* api)
{
    return Resolve(library, "sqlite3_open_v2", &api->open_v2) && Resolve(library, "sqlite3_close", &api->close) &&
           Resolve(library, "sqlite3_errstr", &api->errstr) &&
           Resolve(library, "sqlite3_system_errno", &api->system_errno) &&
           Resolve(library, "sqlite3_extended_result_codes", &api->extended_result_codes) &&
           Resolve(library, "sqlite3_busy_handler", &api->busy_handler) &&
           Resolve(library, "sqlite3_db_config", &api->db_config) && Resolve(library, "sqlite3_exec", &api->exec) &&
           Resolve(library, "sqlite3_prepare_v3", &api->prepare_v3) &&
           Resolve(library, "sqlite3_bind_int64", &api->bind_int64) &&
           Resolve(library, "sqlite3_bind_null", &api->bind_null) &&
           Resolve(library, "sqlite3_bind_text64", &api->bind_text64) && Resolve(library, "sqlite3_step", &api->step) &&
           Resolve(library, "sqlite3_reset", &api->reset) && Resolve(library, "sqlite3_finalize", &api->finalize) &&
           Resolve(library, "sqlite3_column_type", &api->column_type) &&
           Resolve(library, "sqlite3_column_int64", &api->column_int64) &&
           Resolve(library, "sqlite3_column_blob", &api->column_blob) &&
           Resolve(library, "sqlite3_column_bytes", &api->column_bytes) &&
           Resolve(library, "sqlite3_last_insert_rowid", &api->last_insert_rowid) &&
           Resolve(library, "sqlite3_changes", &api->changes);
}

struct Loaded {
    Loaded()
    {
        // Never unloaded: connections live as long as the process.
        void* library = dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        complete = library && ResolveAll(library, &api);
        if (!complete) LogHost(DLOG_ERROR, "cannot load %s, so there are no settings: %s", kLibrary, dlerror());
    }

    Sqlite api = {};
    bool complete = false;
};

}  // namespace

const Sqlite* LoadSqlite()
{
    const Loaded& loaded = Leaked<Loaded>();
    return loaded.complete ? &loaded.api : nullptr;
}

}  // namespace host
