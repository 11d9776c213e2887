// SPDX-License-Identifier: Apache-2.0
// Checking, repairing, backing up and restoring the settings as a whole.
#include "Connection.h"
#include "Guarded.h"
#include "SettingsStore.h"
#include "WholeDatabase.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <unistd.h>

namespace host {
namespace {

// Damage as the result of a read has the connection recover the database.
int Check(Family family, bool isToRepair)
{
    int found = SQLITE_OK;
    const int result = ReaderOf(family).Read("check", [&found, isToRepair](Connection& connection) {
        found = CheckDatabase(connection.Api(), connection.Handle());
        return found == SQLITE_CORRUPT && !isToRepair ? SQLITE_OK : found;
    });
    return ErrorOf(result == SQLITE_OK ? found : result);
}

// In a file beside the backup, so that this is complete or as it was.
int BackUp(const std::string& path)
{
    const FileBeingMade file(path);
    const int error = file.Prepare();
    if (error != 0) return -error;
    const int result = ReaderOf(kDurable).Read("back up", [&file](Connection& connection) {
        return CopyDatabase(connection.Api(), connection.Handle(), file.Path());
    });
    return result == SQLITE_OK ? -file.Place() : ErrorOf(result);
}

int CheckAll(bool isToRepair)
{
    int result = 0;
    for (const Family family : kFamilies) {
        const int checked = Check(family, isToRepair);
        if (result == 0) result = checked;
    }
    return result;
}

// Nothing is repaired that is sound. Where only the other database is damaged, the durable settings are copied first;
// their last good copy stays as it is if they are damaged themselves, or cannot be copied.
int Repair()
{
    const bool isDurableSound = Check(kDurable, false) == 0;
    if (isDurableSound && Check(kVolatile, false) == 0) return 0;
    if (isDurableSound) static_cast<void>(BackUp(FilesOf(kDurable).CopyPath()));
    return CheckAll(true);
}

int Restore(const std::string& path)
{
    const Sqlite* api = LoadSqlite();
    if (api == nullptr) return -EIO;
    Values values;
    if (access(path.c_str(), R_OK) != 0) return -errno;
    const int result = ReadDatabase(*api, path, &values);
    return result == SQLITE_OK ? WriteAll(kDurable, values) : ErrorOf(result);
}

}  // namespace
}  // namespace host

SRCWATCH_HOST_API int srcwatch_host_check_settings(void)
{
    return host::Guarded(-ENOMEM, [] { return host::CheckAll(false); });
}

SRCWATCH_HOST_API int srcwatch_host_repair_settings(void)
{
    return host::Guarded(-ENOMEM, [] { return host::Repair(); });
}

SRCWATCH_HOST_API int srcwatch_host_back_up_settings(const char* path)
{
    if (path == nullptr) return -EINVAL;
    return host::Guarded(-ENOMEM, [path] { return host::BackUp(path); });
}

SRCWATCH_HOST_API int srcwatch_host_restore_settings(const char* path)
{
    if (path == nullptr) return -EINVAL;
    return host::Guarded(-ENOMEM, [path] { return host::Restore(path); });
}

SRCWATCH_HOST_API const char* srcwatch_host_copy_path(void)
{
    return host::Guarded<const char*>(nullptr, [] { return host::FilesOf(host::kDurable).CopyPath().c_str(); });
}
