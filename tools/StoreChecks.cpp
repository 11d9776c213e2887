// SPDX-License-Identifier: Apache-2.0
#include "StoreChecks.h"

#include "Settings.h"

#include <cerrno>

#include <unistd.h>
#include <vconf.h>

namespace ctl {

namespace {

// A family of settings, with keys that no other program uses.
struct Family {
    StorePlace (*place)();
    const char* absentKey;
    const char* writtenKey;
};
constexpr Family kFamilies[] = {
    {DurablePlace, "db/srcwatchctl/none", "db/srcwatchctl/doctor-"},
    {VolatilePlace, "memory/srcwatchctl/none", "memory/srcwatchctl/doctor-"},
};

Finding BadFor(const std::string& what, const Cause& cause) { return Bad(what + ": " + cause.why, cause.remedy); }

// Returns 0 or why the settings of a family cannot be read.
int Read(const Family& family)
{
    int number = 0;
    const int result = vconf_get_int(family.absentKey, &number);
    return result == -ENOENT ? 0 : result;
}

// Writes a setting of this process's own, which is removed again in any case. Returns 0 or why that failed.
int Write(const Family& family)
{
    const std::string key = family.writtenKey + std::to_string(getpid());
    int number = 0;
    int result = vconf_set_int(key.c_str(), getpid());
    if (result == 0) result = vconf_get_int(key.c_str(), &number);
    const int removed = srcwatch_host_unset(key.c_str());
    if (result == 0 && number != getpid()) return -EIO;
    return result != 0 ? result : removed;
}

Finding CheckUse(const char* done, int (*use)(const Family&), const std::string& verdict)
{
    std::string places;
    for (const Family& family : kFamilies) {
        const StorePlace place = family.place();
        const int result = use(family);
        if (result < 0) return BadFor(place.Path() + " cannot be " + done, CauseOf(result, place, ThisUser()));
        places += (places.empty() ? "" : ", ") + place.directory;
    }
    return Good(verdict + " in " + places);
}

std::string SettingsText()
{
    int count = 0;
    const auto add = [](const char*, const srcwatch_host_value*, void* counted) { ++*static_cast<int*>(counted); };
    // What cannot be listed could not be read before, either.
    static_cast<void>(srcwatch_host_list_settings(add, &count));
    return std::to_string(count) + " setting(s)";
}

// Databases that were put aside: how to go on with them.
std::string RemedyForPutAside(const std::string& path)
{
    return "what was readable in it is in use: 'srcwatchctl settings list' shows it, and 'srcwatchctl settings restore "
           "FILE' brings back a backup; then move " +
           ShellQuoted(path) + " elsewhere";
}

}  // namespace

Finding CheckSqlite()
{
    const std::optional<Cause> missing = FindMissingLibrary();
    return missing ? Bad(missing->why, missing->remedy) : Good("SQLite can be loaded");
}

Finding CheckDirectory(const StorePlace& place)
{
    if (const std::optional<Cause> obstacle = FindObstacle(place)) return Bad(obstacle->why, obstacle->remedy);
    if (const std::optional<Cause> shortage = FindShortage(place)) return Bad(shortage->why, shortage->remedy);
    if (access(place.directory.c_str(), F_OK) != 0 && errno == ENOENT)
        return Good(place.directory + " is created when it is first used");
    return Good(place.directory + ": " + DescribeOwner(place.directory));
}

Finding CheckOwnership(const std::optional<User>& service)
{
    if (!service) return Good("the user of the service is not known");
    for (const Family& family : kFamilies) {
        const StorePlace place = family.place();
        if (access(place.directory.c_str(), F_OK) != 0) continue;
        const std::string what = "the service cannot use its settings";
        if (const std::optional<Cause> above = FindForbiddenAbove(place, *service)) return BadFor(what, *above);
        const std::optional<Cause> forbidden = FindForbidden(place, *service);
        if (forbidden) return Bad(what + ": " + forbidden->why, GiveTo(*service, place));
    }
    return Good("the user " + service->name + " may use the settings");
}

Finding CheckReadable() { return CheckUse("read", Read, SettingsText()); }

Finding CheckWritable() { return CheckUse("written", Write, "a setting was written, read and removed"); }

Finding CheckPutAside()
{
    for (const Family& family : kFamilies) {
        const StorePlace place = family.place();
        const std::optional<std::vector<std::string>> found = FindPutAside(place);
        if (!found) {
            return BadFor("unknown: " + place.directory + " cannot be listed", CauseOf(-EACCES, place, ThisUser()));
        }
        if (found->empty()) continue;
        return Bad(
            std::to_string(found->size()) + " database(s) were damaged and put aside, the last as " + found->back(),
            RemedyForPutAside(found->back()));
    }
    if (srcwatch_host_check_settings() == -EUCLEAN)
        return Bad("a database is damaged", "'srcwatchctl settings repair' recovers what is readable");
    return Good("no damaged database");
}

Finding CheckDocument(const std::string& key, srcwatch::StoredKind kind)
{
    std::string text;
    const srcwatch::ReadResult result = ReadText(key, text);
    const bool isNumber = result == srcwatch::ReadResult::kAbsent && ReadNumber(key);
    if (result == srcwatch::ReadResult::kAbsent && !isNumber) return Good("none stored yet");
    const std::string remedy =
        "'srcwatchctl settings get " + key + "' shows it; the detection service replaces it when it starts";
    if (result == srcwatch::ReadResult::kTooLarge)
        return Bad("too large to be read", "'srcwatchctl settings set " + key + " VALUE' replaces it");
    if (isNumber) return Bad("a number is stored where the document belongs", remedy);
    if (result == srcwatch::ReadResult::kFailed)
        return Bad("unknown: the settings cannot be read", "see settings-readable");

    const srcwatch::Inspection inspection = Inspect(srcwatch::JsonText(text), kind);
    if (inspection.IsClean()) return Good("valid");
    const srcwatch::Finding* const unreadable = inspection.FirstUnreadable();
    if (unreadable != nullptr) return Bad(unreadable->Text(), remedy);
    return Good("readable; not as the service writes it: " + inspection.findings[0].Text());
}

}  // namespace ctl
