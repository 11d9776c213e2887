// SPDX-License-Identifier: Apache-2.0
// Watching settings. Each main context that has watches has one hub: a GSource that wakes when a writer has touched a
// database's wake-up file, reads the new changes from the change log, and calls the watchers. A slow timer makes up for
// what inotify does not report: a writer that was killed between its commit and the wake-up, a directory that is gone
// for a while, a database that is locked.
#include "Fork.h"
#include "Guarded.h"
#include "Handle.h"
#include "Leaked.h"
#include "Log.h"
#include "Paths.h"
#include "SettingsStore.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <glib-unix.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace host {
namespace {

constexpr std::int64_t kSlowCheckUs = 2000000;
constexpr std::int64_t kRetryUs = 200000;

// Writers touch their wake-up file (IN_ATTRIB) or create it; reading causes none of these.
constexpr std::uint32_t kWakeEvents = IN_ATTRIB | IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

struct Watch {
    unsigned id;
    std::optional<std::string> key;  // none: all settings
    srcwatch_host_setting_cb callback;
    void (*onReplaced)(void* userData);  // null, or the callback is
    void* userData;
    Position since[kFamilyCount];

    bool Wants(const char* changedKey) const { return callback != nullptr && (!key || *key == changedKey); }
    bool IsNew(Family family, std::int64_t store, std::int64_t change) const
    {
        return since[family].store != store || change > since[family].change;
    }
};

class Hub {
public:
    Hub() : m_inotify(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}
    ~Hub();
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    int Descriptor() const { return m_inotify; }
    bool IsEmpty() const { return m_watches.empty(); }
    int Add(Watch watch);
    void Remove(unsigned id);

    // Reads and reports all new changes. Returns the time by which to do so again.
    std::int64_t Check();

private:
    // One of the two databases, if a watch of this hub needs it.
    struct Followed {
        bool isFollowed = false;
        int directory = -1;  // inotify's number for it
        Position reported;
    };

    int Follow(Family family);
    int WatchDirectory(Family family);
    void DiscardEvents() const;
    bool CheckFamily(Family family);
    bool IsWanted(const char* key) const;
    void Report(Family family, const Change& change);
    template <typename Wants, typename Call>
    void CallEach(Wants wants, Call call);
    const Watch* Find(unsigned id) const;

    const int m_inotify;
    Followed m_followed[kFamilyCount];
    std::vector<Watch> m_watches;
};

// GLib's part of a hub; owns it.
struct HubSource {
    GSource base;
    Hub* hub;
    unsigned process;
};

// All hubs by watch. The hubs themselves are used in their own threads only.
struct Registry {
    std::mutex mutex;  // guards the maps; never held while a hub reads or a callback runs
    std::map<GMainContext*, HubSource*> sources;
    std::map<unsigned, HubSource*> byWatch;
    unsigned lastId = 0;
    std::atomic<unsigned> process{0};  // counts the forks, so that a child knows an inherited source
};

Registry& TheRegistry() { return Leaked<Registry>(); }

Hub::~Hub()
{
    if (m_inotify >= 0) close(m_inotify);
}

// Returns 0 or an errno value.
int Hub::WatchDirectory(Family family)
{
    const int descriptor = inotify_add_watch(m_inotify, DirectoryOf(family).c_str(), kWakeEvents);
    if (descriptor < 0) return errno;

    Followed& followed = m_followed[family];
    // Fails if the directory that was there before is gone.
    if (followed.directory >= 0 && followed.directory != descriptor)
        static_cast<void>(inotify_rm_watch(m_inotify, followed.directory));
    followed.directory = descriptor;
    return 0;
}

// The directory first: what is written from then on wakes the hub.
int Hub::Follow(Family family)
{
    Followed& followed = m_followed[family];
    if (followed.isFollowed) return 0;

    int error = EnsureDirectory(DirectoryOf(family));
    if (error == 0) error = WatchDirectory(family);
    if (error == 0) error = -FindNewestPosition(family, &followed.reported);
    followed.isFollowed = error == 0;
    return error;
}

// Returns 0 or an errno value.
int Hub::Add(Watch watch)
{
    if (m_inotify < 0) return EMFILE;
    for (const Family family : kFamilies) {
        if (watch.key && FamilyOf(watch.key->c_str()) != family) continue;
        int error = Follow(family);
        if (error == 0) error = -FindNewestPosition(family, &watch.since[family]);
        if (error != 0) return error;
    }
    m_watches.push_back(std::move(watch));
    return 0;
}

void Hub::Remove(unsigned id)
{
    const auto hasId = [id](const Watch& watch) { return watch.id == id; };
    m_watches.erase(std::remove_if(m_watches.begin(), m_watches.end(), hasId), m_watches.end());
}

const Watch* Hub::Find(unsigned id) const
{
    for (const Watch& watch : m_watches)
        if (watch.id == id) return &watch;
    return nullptr;
}

bool Hub::IsWanted(const char* key) const
{
    return std::any_of(m_watches.begin(), m_watches.end(), [key](const Watch& watch) { return watch.Wants(key); });
}

// What the events say does not matter, only that there were any.
void Hub::DiscardEvents() const
{
    alignas(inotify_event) char events[4096];
    while (read(m_inotify, events, sizeof events) > 0) {
    }
}

// Callbacks may add and remove watches, so each watch is looked up again before its call.
template <typename Wants, typename Call>
void Hub::CallEach(Wants wants, Call call)
{
    std::vector<unsigned> ids;
    for (const Watch& watch : m_watches)
        if (wants(watch)) ids.push_back(watch.id);
    for (const unsigned id : ids) {
        const Watch* watch = Find(id);
        if (watch != nullptr) call(*watch);
    }
}

void Hub::Report(Family family, const Change& change)
{
    const std::int64_t store = m_followed[family].reported.store;
    CallEach(
        [&](const Watch& watch) {
            return watch.Wants(change.setting.key.c_str()) && watch.IsNew(family, store, change.number);
        },
        [&change](const Watch& watch) { change.setting.PassTo(watch.callback, watch.userData); });
}

// Returns false if it is to be tried again soon.
bool Hub::CheckFamily(Family family)
{
    if (WatchDirectory(family) != 0) return false;  // gone; it is for writers to create it again

    std::vector<Change> changes;
    std::int64_t missed = 0;
    const auto isWanted = [this](const char* key) { return IsWanted(key); };
    const std::int64_t store = m_followed[family].reported.store;
    if (ReadChanges(family, &m_followed[family].reported, isWanted, &changes, &missed) != 0) return false;

    if (missed > 0) {
        LogHost(DLOG_WARN, "missed %lld changes of settings in %s: they came too fast", static_cast<long long>(missed),
                DirectoryOf(family).c_str());
    }
    if (m_followed[family].reported.store != store) {
        CallEach([](const Watch& watch) { return watch.onReplaced != nullptr; },
                 [](const Watch& watch) { watch.onReplaced(watch.userData); });
    }
    for (const Change& change : changes) Report(family, change);
    return true;
}

std::int64_t Hub::Check()
{
    DiscardEvents();
    bool isComplete = true;
    for (const Family family : kFamilies)
        if (m_followed[family].isFollowed) isComplete = CheckFamily(family) && isComplete;
    return g_get_monotonic_time() + (isComplete ? kSlowCheckUs : kRetryUs);
}

HubSource* AsHubSource(GSource* source) { return reinterpret_cast<HubSource*>(source); }

gboolean DispatchHub(GSource* source, GSourceFunc, gpointer)
{
    HubSource* self = AsHubSource(source);
    if (self->process != TheRegistry().process) return G_SOURCE_REMOVE;  // the parent's watches stay the parent's
    const std::int64_t next = Guarded(g_get_monotonic_time() + kRetryUs, [self] { return self->hub->Check(); });
    g_source_set_ready_time(source, next);
    return G_SOURCE_CONTINUE;
}

template <typename Map>
void EraseHub(Map* map, const HubSource* hub)
{
    for (auto at = map->begin(); at != map->end();) at = at->second == hub ? map->erase(at) : std::next(at);
}

// Also called when a context ends that still has watches.
void FinalizeHub(GSource* source)
{
    HubSource* self = AsHubSource(source);
    Registry& registry = TheRegistry();
    {
        const std::lock_guard<std::mutex> lock(registry.mutex);
        EraseHub(&registry.sources, self);
        EraseHub(&registry.byWatch, self);
    }
    delete self->hub;
}

GSourceFuncs g_hubFunctions = {nullptr, nullptr, DispatchHub, FinalizeHub, nullptr, nullptr};

using Context = srcwatch::Handle<GMainContext, g_main_context_unref>;

// The context owns the source; the caller may use it as long as it is not destroyed.
HubSource* CreateHub(GMainContext* context)
{
    auto hub = std::make_unique<Hub>();
    GSource* source = g_source_new(&g_hubFunctions, sizeof(HubSource));
    HubSource* self = AsHubSource(source);
    self->hub = hub.release();
    self->process = TheRegistry().process;
    g_source_set_static_name(source, "srcwatch settings");
    if (self->hub->Descriptor() >= 0) g_source_add_unix_fd(source, self->hub->Descriptor(), G_IO_IN);
    g_source_set_ready_time(source, g_get_monotonic_time() + kSlowCheckUs);
    g_source_attach(source, context);
    g_source_unref(source);
    return self;
}

HubSource* HubOf(GMainContext* context)
{
    Registry& registry = TheRegistry();
    const std::lock_guard<std::mutex> lock(registry.mutex);
    HubSource*& hub = registry.sources[context];
    if (hub == nullptr) hub = CreateHub(context);
    return hub;
}

unsigned Register(HubSource* source)
{
    Registry& registry = TheRegistry();
    const std::lock_guard<std::mutex> lock(registry.mutex);
    if (++registry.lastId == 0) registry.lastId = 1;
    registry.byWatch[registry.lastId] = source;
    return registry.lastId;
}

// Returns the watch's hub, or null if there is no such watch.
HubSource* Unregister(unsigned id)
{
    Registry& registry = TheRegistry();
    const std::lock_guard<std::mutex> lock(registry.mutex);
    const auto found = registry.byWatch.find(id);
    if (found == registry.byWatch.end()) return nullptr;
    HubSource* source = found->second;
    registry.byWatch.erase(found);
    return source;
}

void DestroyIfEmpty(HubSource* source)
{
    if (!source->hub->IsEmpty()) return;
    Registry& registry = TheRegistry();
    {
        const std::lock_guard<std::mutex> lock(registry.mutex);
        EraseHub(&registry.sources, source);
    }
    g_source_destroy(&source->base);
}

void RemoveWatch(unsigned id)
{
    HubSource* source = Unregister(id);
    if (source == nullptr) return;
    source->hub->Remove(id);
    DestroyIfEmpty(source);
}

unsigned AddWatch(const char* key, srcwatch_host_setting_cb callback, void (*onReplaced)(void*), void* userData)
{
    TakePartInForks();
    if ((callback == nullptr && onReplaced == nullptr) || (key != nullptr && !FamilyOf(key))) {
        LogHost(DLOG_ERROR, "cannot watch a setting: no callback, or a key that begins neither with db/ nor memory/");
        return 0;
    }
    const Context context(g_main_context_ref_thread_default());
    HubSource* source = HubOf(context.get());
    const unsigned id = Register(source);
    Watch watch = {id, std::nullopt, callback, onReplaced, userData, {}};
    if (key != nullptr) watch.key = key;
    const int error = source->hub->Add(std::move(watch));
    if (error == 0) return id;

    LogHost(DLOG_ERROR, "cannot watch %s: %s", key != nullptr ? key : "all settings", strerrordesc_np(error));
    RemoveWatch(id);
    return 0;
}

}  // namespace

void SettingsWatchBeforeFork() { TheRegistry().mutex.lock(); }

// The sources stay in the contexts that a child inherits until those are run or freed.
void SettingsWatchAfterFork(bool isChild)
{
    Registry& registry = TheRegistry();
    if (isChild) {
        registry.process++;
        registry.sources.clear();
        registry.byWatch.clear();
    }
    registry.mutex.unlock();
}

}  // namespace host

SRCWATCH_HOST_API unsigned srcwatch_host_watch_setting(const char* key, srcwatch_host_setting_cb callback,
                                                       void* user_data)
{
    return host::Guarded(0U, [=] { return host::AddWatch(key, callback, nullptr, user_data); });
}

SRCWATCH_HOST_API unsigned srcwatch_host_watch_replacement(void (*callback)(void* user_data), void* user_data)
{
    return host::Guarded(0U, [=] { return host::AddWatch(nullptr, nullptr, callback, user_data); });
}

SRCWATCH_HOST_API void srcwatch_host_unwatch_setting(unsigned id)
{
    // Without memory to look for it, the watch stays; the caller cannot do anything about that.
    static_cast<void>(host::Guarded(false, [id] {
        host::RemoveWatch(id);
        return true;
    }));
}
