// SPDX-License-Identifier: Apache-2.0
// System information from a key file (SRCWATCH_PLATFORM_CONF):
//
//   [hdmi]
//   inputs=4
//   [features]
//   com.korvane/featureconf/bt_profile_bt_calvix=true
//
// The file is read again if it has changed. A query for a value that is missing or malformed fails.
#include "SystemInfo.h"

#include "Clock.h"
#include "Fork.h"
#include "Guarded.h"
#include "Handle.h"
#include "Leaked.h"
#include "Log.h"
#include "Paths.h"
#include "system_info.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {
namespace {

// A file that changed this recently may change again within the same tick of its time stamp.
constexpr int64_t kSettledMs = 100;

// A file that cannot be read for a moment is waited for, but not by every query while that lasts.
constexpr int64_t kPatienceMs = 300;
constexpr int64_t kImpatienceMs = 1000;
constexpr unsigned kPauseUs = 20000;

constexpr const char* kHdmiGroup = "hdmi";
constexpr const char* kInputsKey = "inputs";

using KeyFile = srcwatch::Handle<GKeyFile, g_key_file_unref>;
using Error = srcwatch::Handle<GError, g_error_free>;

// The configuration file as last read.
struct ConfFile {
    std::mutex mutex;  // guards all below; held while the file is read
    struct stat identity = {};
    bool isSettled = false;
    int error = 0;                 // errno value, if the file could not be read for a reason that may pass
    int64_t failedMs = 0;          // when that was, by the monotonic clock; 0 for never
    KeyFile content;               // null if there is no readable file
    std::set<std::string> faults;  // what has been logged about this content
};

ConfFile& TheConfFile() { return Leaked<ConfFile>(); }

bool IsSameTime(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

bool IsSame(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size && IsSameTime(a.st_mtim, b.st_mtim) &&
           IsSameTime(a.st_ctim, b.st_ctim);
}

// Programs ask for the same value again and again; a fault is logged once.
void LogFault(ConfFile* conf, const std::string& fault)
{
    if (conf->faults.insert(fault).second) LogHost(DLOG_ERROR, "%s: %s", GetPaths().confPath.c_str(), fault.c_str());
}

bool IsTransient(const GError& failure)
{
    constexpr int kPassing[] = {G_FILE_ERROR_AGAIN, G_FILE_ERROR_IO, G_FILE_ERROR_MFILE, G_FILE_ERROR_NFILE,
                                G_FILE_ERROR_NOMEM};
    return failure.domain == G_FILE_ERROR &&
           std::find(std::begin(kPassing), std::end(kPassing), failure.code) != std::end(kPassing);
}

KeyFile Parse(ConfFile* conf)
{
    if (!S_ISREG(conf->identity.st_mode)) {
        LogFault(conf, "not a regular file");
        return nullptr;
    }
    KeyFile file(g_key_file_new());
    GError* failure = nullptr;
    if (g_key_file_load_from_file(file.get(), GetPaths().confPath.c_str(), G_KEY_FILE_NONE, &failure)) return file;

    const Error owner(failure);
    conf->error = IsTransient(*failure) ? EIO : 0;
    if (conf->error == 0) LogFault(conf, failure->message);
    return nullptr;
}

// Of a path that names no file, for as long as nobody changes that.
bool IsAbsent(int error)
{
    return error == ENOENT || error == ENOTDIR || error == EACCES || error == ELOOP || error == ENAMETOOLONG;
}

// Brings the content up to date, unless the file cannot be read for the moment. The mutex is held.
void Update(ConfFile* conf)
{
    struct stat now = {};
    const bool exists = stat(GetPaths().confPath.c_str(), &now) == 0;
    conf->error = exists || IsAbsent(errno) ? 0 : errno;
    if (conf->error != 0) return;
    const bool isSame = exists && IsSame(now, conf->identity);
    if (isSame && conf->isSettled) return;

    if (!isSame) conf->faults.clear();
    conf->identity = now;
    KeyFile content = exists ? Parse(conf) : nullptr;
    conf->isSettled = conf->error == 0 && NowMs(CLOCK_REALTIME_COARSE) - Milliseconds(now.st_ctim) > kSettledMs;
    if (conf->error == 0) conf->content = std::move(content);
}

// The same, and waits for a file that cannot be read for the moment, unless that is known, or an older content serves.
void UpdateInTime(ConfFile* conf)
{
    Update(conf);
    const int64_t begin = NowMs(CLOCK_MONOTONIC);
    if (conf->error == 0 || conf->content) return;
    if (conf->failedMs != 0 && begin - conf->failedMs < kImpatienceMs) return;
    while (conf->error != 0 && NowMs(CLOCK_MONOTONIC) - begin < kPatienceMs) {
        usleep(kPauseUs);
        Update(conf);
    }
    if (conf->error == 0) return;
    conf->failedMs = NowMs(CLOCK_MONOTONIC);
    LogFault(conf, strerrordesc_np(conf->error));
}

// Reads a value by one of the key file's getters. Returns 0, or a negative errno value with the value untouched.
template <typename Get, typename Value>
int Query(const char* group, const char* key, Get get, Value* value)
{
    TakePartInForks();
    ConfFile& conf = TheConfFile();
    const std::lock_guard<std::mutex> lock(conf.mutex);
    UpdateInTime(&conf);
    GKeyFile* file = conf.content.get();
    if (file == nullptr && conf.error != 0) return -conf.error;
    if (file == nullptr || g_key_file_has_key(file, group, key, nullptr) == FALSE) return -ENOENT;

    GError* failure = nullptr;
    const auto found = get(file, group, key, &failure);
    if (failure != nullptr) {
        LogFault(&conf, std::string("[") + group + "] " + key + ": " + Error(failure)->message);
        return -EINVAL;
    }
    *value = static_cast<Value>(found);
    return 0;
}

}  // namespace

std::string FindFaultOfInputs()
{
    const KeyFile file(g_key_file_new());
    GError* failure = nullptr;
    if (g_key_file_load_from_file(file.get(), GetPaths().confPath.c_str(), G_KEY_FILE_NONE, &failure) != FALSE) {
        // Only whether it fails.
        static_cast<void>(g_key_file_get_integer(file.get(), kHdmiGroup, kInputsKey, &failure));
    }
    const Error error(failure);
    return error ? error->message : "it could not be read a moment ago";
}

void SystemInfoBeforeFork() { TheConfFile().mutex.lock(); }

void SystemInfoAfterFork() { TheConfFile().mutex.unlock(); }

}  // namespace host

SRCWATCH_HOST_API int system_info_get_value_int(system_info_key_e key, int* value)
{
    if (key != SYSTEM_INFO_KEY_NUM_OF_HDMI || value == nullptr) return -EINVAL;
    return host::Guarded(
        -ENOMEM, [value] { return host::Query(host::kHdmiGroup, host::kInputsKey, g_key_file_get_integer, value); });
}

SRCWATCH_HOST_API int system_info_get_custom_bool(const char* key, bool* value)
{
    if (key == nullptr || *key == '\0' || value == nullptr) return -EINVAL;
    return host::Guarded(-ENOMEM, [key, value] { return host::Query("features", key, g_key_file_get_boolean, value); });
}
