// SPDX-License-Identifier: Apache-2.0
#include "BusChecks.h"

#include "Failure.h"
#include "Loop.h"
#include "QDInfoEventManager.h"
#include "Users.h"
#include "srcwatch-protocol.h"

#include <fstream>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ctl {

namespace {

using srcwatch::GroupNamed;
using srcwatch::kServiceAccount;
using srcwatch::ShellQuoted;
using srcwatch::ThisUser;
using srcwatch::User;
using srcwatch::UserOf;

constexpr int kAnswerMs = 2000;
constexpr const char* kSystemSocket = "/run/dbus/system_bus_socket";
constexpr const char* kPolicyDirectories[] = {"/etc/dbus-1/system.d", "/usr/share/dbus-1/system.d"};
constexpr const char* kPolicyName = "org.nalto.tv.qdinfo.conf";
constexpr const char* kReload =
    "have the bus read it, as root: busctl call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus "
    "ReloadConfig";

// Sends an event that no other program sends, and waits until it comes back.
class Probe {
public:
    bool Run()
    {
        qdinfo::CQDEventReciever receiver("", false);
        receiver.RegisterEventCallback(kType, OnEvent, this);
        qdinfo::CQDEventSender sender("");
        sender.SendEvent(kType, getpid(), m_token, 0);
        return m_loop.Run(kSeconds) == Loop::End::kDone;
    }

private:
    static constexpr int kType = 0x7d0c0001;
    static constexpr double kSeconds = 3;

    static void OnEvent(void* self, srcwatch_event_s* event)
    {
        auto& probe = *static_cast<Probe*>(self);
        if (event->args[0] == getpid() && event->args[1] == probe.m_token) probe.m_loop.Quit();
    }

    const int m_token = g_random_int_range(1, G_MAXINT32);
    Loop m_loop;
};

// The bus that every program of the machine uses, with its policies; others are for development.
bool IsSystemBus()
{
    const srcwatch::Handle<char, g_free> address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    const std::string beginning = "unix:path=";
    const std::string text = address ? address.get() : "";
    if (text.rfind(beginning, 0) != 0) return false;
    const std::string path = text.substr(beginning.size(), text.find_first_of(",;") - beginning.size());
    struct stat given = {};
    struct stat systems = {};
    return stat(path.c_str(), &given) == 0 && stat(kSystemSocket, &systems) == 0 && given.st_dev == systems.st_dev &&
           given.st_ino == systems.st_ino;
}

std::string FindPolicy()
{
    for (const char* directory : kPolicyDirectories) {
        std::string path = std::string(directory) + "/" + kPolicyName;
        if (access(path.c_str(), F_OK) == 0) return path;
    }
    return "";
}

bool MaySend(const User& user)
{
    const std::optional<gid_t> group = GroupNamed(kServiceAccount);
    return user.name == kServiceAccount || (group && user.IsMember(*group));
}

std::string Describe(const BusOwner& owner)
{
    return owner.uniqueName + (owner.pid ? ", process " + std::to_string(*owner.pid) : "") +
           (owner.uid ? ", user " + std::to_string(*owner.uid) : "");
}

// True if a signal stopped the process.
bool IsStopped(unsigned pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const std::size_t end = text.rfind(") ");  // of the name, in which anything may stand
    return end != std::string::npos && end + 2 < text.size() && (text[end + 2] == 'T' || text[end + 2] == 't');
}

Finding Silent(const BusOwner& owner)
{
    if (!owner.pid) return Bad("it does not answer within 2 s", "end the program that owns " SRCWATCH_BUS_NAME);
    const std::string pid = std::to_string(*owner.pid);
    if (IsStopped(*owner.pid))
        return Bad("process " + pid + " is stopped, and answers no call within 2 s", "continue it: kill -CONT " + pid);
    return Bad("process " + pid + " does not answer a call within 2 s",
               "end it with kill -KILL " + pid + ", and start srcwatch-service if nothing else does");
}

Finding NoBus(const BusView& bus)
{
    return Bad(bus.failure,
               bus.isHung ? "continue the process of the bus if it is stopped (kill -CONT), or restart the machine"
                          : "start a system bus, or set DBUS_SYSTEM_BUS_ADDRESS to the address of one");
}

bool IsReadableForAll(const std::string& path)
{
    struct stat file = {};
    return stat(path.c_str(), &file) == 0 && (file.st_mode & S_IROTH) != 0;
}

// On the system's bus, events of users who may not send show that their policy is not in force.
bool IsPolicyIgnored(const BusView& bus) { return bus.areEventsDelivered != bus.maySend; }

}  // namespace

BusView LookAtBus()
{
    BusView bus;
    try {
        const Connection connection = ConnectBus();
        bus.name = g_dbus_connection_get_unique_name(connection.get());
        bus.isSystemBus = IsSystemBus();
        bus.policyFile = FindPolicy();
        bus.maySend = MaySend(ThisUser());
        bus.owner = ServiceOwner(connection.get());
        if (bus.owner) bus.answer = AskService(connection.get(), kAnswerMs);
        bus.areEventsDelivered = Probe().Run();
    } catch (const Failure& failure) {
        bus.failure = failure.what();
        bus.isHung = failure.Code() == kTimedOut;
    }
    return bus;
}

uid_t ServiceUser(const BusView& bus)
{
    if (bus.owner && bus.owner->uid) return *bus.owner->uid;
    const passwd* account = getpwnam(kServiceAccount);
    return account != nullptr ? account->pw_uid : static_cast<uid_t>(-1);
}

Finding CheckBus(const BusView& bus) { return bus.failure.empty() ? Good("connected as " + bus.name) : NoBus(bus); }

Finding CheckName(const BusView& bus)
{
    if (!bus.failure.empty()) return NoBus(bus);
    if (bus.owner) return Good(SRCWATCH_BUS_NAME " is owned by " + Describe(*bus.owner));
    const bool isRefused = !CheckPolicy(bus).isGood;
    return Bad(SRCWATCH_BUS_NAME " has no owner on the bus",
               isRefused ? "see policy; then start srcwatch-service" : "start srcwatch-service");
}

Finding CheckAnswer(const BusView& bus)
{
    if (!bus.failure.empty()) return NoBus(bus);
    if (!bus.owner) return Good("not tested: no service runs");
    switch (bus.answer) {
        case ServiceAnswer::kAnswered:
            return Good("the service answers");
        case ServiceAnswer::kDenied:
            return Good("not tested: the bus does not let this user call the service");
        case ServiceAnswer::kGone:
            return Bad("the service left the bus before it answered", "start srcwatch-service if nothing else does");
        case ServiceAnswer::kSilent:
            break;
    }
    return Silent(*bus.owner);
}

Finding CheckGroup(const BusView& bus)
{
    const std::string group = kServiceAccount;
    const User user = ThisUser();
    if (!bus.failure.empty() || !bus.isSystemBus) return Good("not needed: this is not the system's bus");
    const std::optional<gid_t> gid = GroupNamed(group);
    if (!gid) return Bad("no such group: " + group, "as root: groupadd --system " + group);
    if (bus.maySend) return Good("the user " + user.name + " is in the group " + group);
    if (user.uid == 0) return Good("root is not in the group " + group + ": the bus refuses its calls of the service");
    const std::string missing = "the user " + user.name + " is not in the group " + group;
    if (UserOf(user.uid).IsMember(*gid)) return Bad(missing + " in this session", "log in again");
    return Bad(missing, "as root: usermod -aG " + group + " " + user.name + "; then log in again");
}

Finding CheckPolicy(const BusView& bus)
{
    if (!bus.failure.empty() || !bus.isSystemBus) return Good("not needed: this is not the system's bus");
    if (bus.policyFile.empty()) {
        return Bad("the bus has no policy for " SRCWATCH_BUS_NAME,
                   "install the package srcwatch-service again, or copy its " + std::string(kPolicyName) + " to " +
                       kPolicyDirectories[0]);
    }
    if (!IsPolicyIgnored(bus)) return Good(bus.policyFile + " is in force");
    if (!IsReadableForAll(bus.policyFile)) {
        return Bad("the bus may not read " + bus.policyFile,
                   "as root: chmod 644 " + ShellQuoted(bus.policyFile) + "; then " + kReload);
    }
    return Bad("the bus has not read " + bus.policyFile, kReload);
}

Finding CheckEvents(const BusView& bus)
{
    if (!bus.failure.empty()) return NoBus(bus);
    if (bus.areEventsDelivered) return Good("an event was sent and received");
    const bool isPolicySeen = (bus.isSystemBus && !bus.policyFile.empty()) || bus.answer == ServiceAnswer::kDenied;
    if (isPolicySeen && !bus.maySend && GroupNamed(kServiceAccount))
        return Good("not tested: the bus does not let this user send events");
    return Bad("an event was sent and did not arrive",
               "let the bus's policy allow signals of the interface " SRCWATCH_BUS_NAME);
}

}  // namespace ctl
