// SPDX-License-Identifier: Apache-2.0
// Watching settings. Each main context in which somebody watches has one hub: a GSource that wakes when a writer has
// touched a database's wake-up file, reads from the change log what is new, and calls the watchers. A slow timer makes
// up for what inotify cannot tell: a writer that was killed between its commit and the wake-up, a directory that is
// gone for a while, a database that is locked.
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
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <glib-unix.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace host {
namespace {

constexpr int64_t kSlowCheckUs = 2000000;
constexpr int64_t kRetryUs = 200000;

// Writers touch their wake-up file (IN_ATTRIB) or create it; nothing that reading does gives one of these.
constexpr uint32_t kWakeEvents = IN_ATTRIB | IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

struct Watch {
    unsigned id;
    bool isForAll;
    std::string key;
    srcwatch_host_setting_cb callback;
    void* userData;
    Position since[kFamilyCount];

    bool Wants(const char* changedKey) const { return isForAll || key == changedKey; }
    bool IsNews(size_t family, int64_t store, int64_t change) const
    {
        return since[family].store != store || change > since[family].change;
    }
};

class Hub {
public:
    explicit Hub(GMainContext* context);
    ~Hub();
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    GMainContext* Context() const { return m_context; }
    bool IsEmpty() const { return m_watches.empty(); }
    int Add(Watch watch);
    void Remove(unsigned id);

    // Reads and tells everything new. Returns when to look again at the latest.
    int64_t Check();

    int Descriptor() const { return m_inotify; }

private:
    // One of the two databases, as far as somebody here watches it.
    struct Followed {
        bool isFollowed = false;
        int directory = -1;  // inotify's number for it
        Position heard;
    };

    int Follow(size_t family);
    int WatchDirectory(size_t family);
    void Drain() const;
    bool CheckFamily(size_t family);
    bool IsWanted(const char* key) const;
    void Tell(size_t family, const Change& change);
    const Watch* Find(unsigned id) const;

    GMainContext* const m_context;
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
    std::mutex mutex;  // guards the maps; never held while a hub works or a callback runs
    std::map<GMainContext*, HubSource*> sources;
    std::map<unsigned, HubSource*> byWatch;
    unsigned lastId = 0;
    std::atomic<unsigned> process{0};  // counts the forks, so that a child knows an inherited source
};

Registry& TheRegistry() { return Leaked<Registry>(); }

Hub::Hub(GMainContext* context) : m_context(context), m_inotify(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

Hub::~Hub()
{
    if (m_inotify >= 0) close(m_inotify);
}

// Returns 0 or an errno value.
int Hub::WatchDirectory(size_t family)
{
    const std::string& directory = DirectoryOf(kFamilies[family]);
    const int descriptor = inotify_add_watch(m_inotify, directory.c_str(), kWakeEvents);
    if (descriptor < 0) return errno;

    Followed& followed = m_followed[family];
    if (followed.directory >= 0 && followed.directory != descriptor)
        (void)inotify_rm_watch(m_inotify, followed.directory);  // the directory that was there before may be gone
    followed.directory = descriptor;
    return 0;
}

// The directory first: what is written from then on wakes the hub.
int Hub::Follow(size_t family)
{
    if (m_followed[family].isFollowed) return 0;

    int error = EnsureDirectory(DirectoryOf(kFamilies[family]));
    if (error == 0) error = WatchDirectory(family);
    if (error) return error;
    error = -NewestPosition(kFamilies[family], &m_followed[family].heard);
    m_followed[family].isFollowed = error == 0;
    return error;
}

// Returns 0 or an errno value.
int Hub::Add(Watch watch)
{
    if (m_inotify < 0) return EMFILE;
    for (size_t family = 0; family < kFamilyCount; family++) {
        Family own = kFamilies[family];
        if (!watch.isForAll && FamilyOf(watch.key.c_str(), &own) && own != kFamilies[family]) continue;
        int error = Follow(family);
        if (error == 0) error = -NewestPosition(kFamilies[family], &watch.since[family]);
        if (error) return error;
    }
    m_watches.push_back(std::move(watch));
    return 0;
}

void Hub::Remove(unsigned id)
{
    const auto isIt = [id](const Watch& watch) { return watch.id == id; };
    m_watches.erase(std::remove_if(m_watches.begin(), m_watches.end(), isIt), m_watches.end());
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
void Hub::Drain() const
{
    alignas(inotify_event) char events[4096];
    while (read(m_inotify, events, sizeof events) > 0) {
    }
}

// Callbacks may add and remove watches, so the watches to tell are looked up one by one.
void Hub::Tell(size_t family, const Change& change)
{
    const int64_t store = m_followed[family].heard.store;
    std::vector<unsigned> ids;
    for (const Watch& watch : m_watches) {
        if (watch.Wants(change.setting.key.c_str()) && watch.IsNews(family, store, change.number))
            ids.push_back(watch.id);
    }

    for (const unsigned id : ids) {
        const Watch* watch = Find(id);
        if (!watch) continue;
        const srcwatch_host_setting_cb callback = watch->callback;
        change.setting.Tell(callback, watch->userData);
    }
}

// Returns false when it is to be tried again soon.
bool Hub::CheckFamily(size_t family)
{
    Followed& followed = m_followed[family];
    if (WatchDirectory(family) != 0) return false;  // gone; it is for writers to create it again

    std::vector<Change> changes;
    int64_t missed = 0;
    const auto isWanted = [this](const char* key) { return IsWanted(key); };
    if (ReadChanges(kFamilies[family], &followed.heard, isWanted, &changes, &missed) != 0) return false;

    if (missed > 0) {
        LogHost(DLOG_WARN, "%lld changes of settings in %s came too fast and were not heard",
                static_cast<long long>(missed), DirectoryOf(kFamilies[family]).c_str());
    }
    for (const Change& change : changes) Tell(family, change);
    return true;
}

int64_t Hub::Check()
{
    Drain();
    bool isComplete = true;
    for (size_t family = 0; family < kFamilyCount; family++)
        if (m_followed[family].isFollowed) isComplete = CheckFamily(family) && isComplete;
    return g_get_monotonic_time() + (isComplete ? kSlowCheckUs : kRetryUs);
}

HubSource* AsHubSource(GSource* source) { return reinterpret_cast<HubSource*>(source); }

gboolean DispatchHub(GSource* source, GSourceFunc, gpointer)
{
    HubSource* self = AsHubSource(source);
    if (self->process != TheRegistry().process) return G_SOURCE_REMOVE;  // the parent's watches stay the parent's
    const int64_t next = Guarded(g_get_monotonic_time() + kRetryUs, [self] { return self->hub->Check(); });
    g_source_set_ready_time(source, next);
    return G_SOURCE_CONTINUE;
}

// Also comes when a context ends that somebody still watched in.
void FinalizeHub(GSource* source)
{
    HubSource* self = AsHubSource(source);
    Registry& registry = TheRegistry();
    {
        const std::lock_guard<std::mutex> lock(registry.mutex);
        const auto found = registry.sources.find(self->hub->Context());
        if (found != registry.sources.end() && found->second == self) registry.sources.erase(found);
        for (auto at = registry.byWatch.begin(); at != registry.byWatch.end();)
            at = at->second == self ? registry.byWatch.erase(at) : std::next(at);
    }
    delete self->hub;
}

GSourceFuncs g_hubFunctions = {nullptr, nullptr, DispatchHub, FinalizeHub, nullptr, nullptr};

using Context = srcwatch::Handle<GMainContext, g_main_context_unref>;

// The context owns the source; the caller may use it as long as it is not destroyed.
HubSource* CreateHub(GMainContext* context)
{
    auto hub = std::make_unique<Hub>(context);
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
    {
        const std::lock_guard<std::mutex> lock(registry.mutex);
        const auto found = registry.sources.find(context);
        if (found != registry.sources.end()) return found->second;
    }
    HubSource* created = CreateHub(context);
    const std::lock_guard<std::mutex> lock(registry.mutex);
    registry.sources[context] = created;
    return created;
}

unsigned NextId()
{
    Registry& registry = TheRegistry();
    const std::lock_guard<std::mutex> lock(registry.mutex);
    if (++registry.lastId == 0) registry.lastId = 1;
    return registry.lastId;
}

void Register(unsigned id, HubSource* source)
{
    Registry& registry = TheRegistry();
    const std::lock_guard<std::mutex> lock(registry.mutex);
    registry.byWatch[id] = source;
}

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
        registry.sources.erase(source->hub->Context());
    }
    g_source_destroy(&source->base);
}

unsigned AddWatch(const char* key, srcwatch_host_setting_cb callback, void* userData)
{
    TakePartInForks();
    Family family = Family::kDurable;
    if (!callback || (key && !FamilyOf(key, &family))) {
        LogHost(DLOG_ERROR, "cannot watch a setting: no callback, or a key that begins neither with db/ nor memory/");
        return 0;
    }
    const Context context(g_main_context_ref_thread_default());
    HubSource* source = HubOf(context.get());
    const unsigned id = NextId();
    const int error = source->hub->Add({id, !key, key ? key : "", callback, userData, {}});
    if (error) {
        LogHost(DLOG_ERROR, "cannot watch %s: %s", key ? key : "all settings", strerrordesc_np(error));
        DestroyIfEmpty(source);
        return 0;
    }
    Register(id, source);
    return id;
}

void RemoveWatch(unsigned id)
{
    HubSource* source = Unregister(id);
    if (!source) return;
    source->hub->Remove(id);
    DestroyIfEmpty(source);
}

}  // namespace

void SettingsWatchBeforeFork() { TheRegistry().mutex.lock(); }

void SettingsWatchAfterForkInParent() { TheRegistry().mutex.unlock(); }

// The sources stay in the inherited contexts until those are run or freed.
void SettingsWatchAfterForkInChild()
{
    Registry& registry = TheRegistry();
    registry.process++;
    registry.sources.clear();
    registry.byWatch.clear();
    registry.mutex.unlock();
}

}  // namespace host

SRCWATCH_HOST_API unsigned srcwatch_host_watch_setting(const char* key, srcwatch_host_setting_cb callback,
                                                       void* user_data)
{
    return host::Guarded(0U, [=] { return host::AddWatch(key, callback, user_data); });
}

SRCWATCH_HOST_API void srcwatch_host_unwatch_setting(unsigned id)
{
    (void)host::Guarded(0, [id] {
        host::RemoveWatch(id);
        return 0;
    });
}
