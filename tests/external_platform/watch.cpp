// SPDX-License-Identifier: Apache-2.0
//
// What a platform may have beyond the four interfaces, as far as services need it to hear commands: the watch of
// settings, and their list. A setting is a file that each write replaces, so the kernel reports every write. What is
// passed on is the value that is there when the main loop gets to it: of two quick writes, twice the second one's.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <glib-unix.h>
#include <srcwatch-host.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <vconf.h>

namespace {

struct Watch {
    std::string key;  // empty for all settings
    srcwatch_host_setting_cb callback;
    void* userData;
    int inotify;
    unsigned source = 0;  // of GLib, that reads it
};

std::map<unsigned, Watch> g_watches;  // used in the main thread only

const char* Directory()
{
    const char* const directory = std::getenv("EXAMPLE_SETTINGS");
    return directory == nullptr ? "." : directory;
}

std::string KeyOf(std::string file)
{
    std::replace(file.begin(), file.end(), '%', '/');
    return file;
}

// A file that is still to take another one's place is no setting.
bool IsSetting(const std::string& file)
{
    return file.find('%') != std::string::npos && file.find('.') == std::string::npos;
}

void Pass(const std::string& key, srcwatch_host_setting_cb callback, void* userData)
{
    char* const text = vconf_get_str(key.c_str());
    srcwatch_host_value value = {text, 0, 0};
    const bool isThere = text != nullptr || vconf_get_int(key.c_str(), &value.number) == 0;
    callback(key.c_str(), isThere ? &value : nullptr, userData);
    std::free(text);
}

gboolean OnChanged(int inotify, GIOCondition, void* id)
{
    alignas(inotify_event) char buffer[16384];
    const ssize_t size = read(inotify, buffer, sizeof buffer);
    for (const char* next = buffer; next < buffer + size;) {
        const auto* const event = reinterpret_cast<const inotify_event*>(next);
        next += sizeof(inotify_event) + event->len;
        const auto watch = g_watches.find(GPOINTER_TO_UINT(id));
        if (watch == g_watches.end()) return G_SOURCE_REMOVE;  // its callback ended it
        const std::string key = KeyOf(event->name);
        const Watch found = watch->second;
        if (IsSetting(event->name) && (found.key.empty() || found.key == key))
            Pass(key, found.callback, found.userData);
    }
    return G_SOURCE_CONTINUE;
}

}  // namespace

unsigned srcwatch_host_watch_setting(const char* key, srcwatch_host_setting_cb callback, void* userData)
{
    static unsigned lastId = 0;
    const int inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (inotify_add_watch(inotify, Directory(), IN_MOVED_TO) < 0) {
        close(inotify);
        return 0;
    }
    Watch& watch = g_watches[++lastId];
    watch = {key == nullptr ? "" : key, callback, userData, inotify};
    watch.source = g_unix_fd_add(inotify, G_IO_IN, OnChanged, GUINT_TO_POINTER(lastId));
    return lastId;
}

void srcwatch_host_unwatch_setting(unsigned id)
{
    const auto watch = g_watches.find(id);
    if (watch == g_watches.end()) return;
    g_source_remove(watch->second.source);
    close(watch->second.inotify);
    g_watches.erase(watch);
}

int srcwatch_host_list_settings(srcwatch_host_setting_cb callback, void* userData)
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(Directory())) files.push_back(entry.path().filename());
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) {
        if (IsSetting(file)) Pass(KeyOf(file), callback, userData);
    }
    return 0;
}
