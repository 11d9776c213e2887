// SPDX-License-Identifier: Apache-2.0
//
// doctor: checks that everything works together, and how to fix what does not.
#include "Bus.h"
#include "Commands.h"
#include "Failure.h"
#include "Inspection.h"
#include "Loop.h"
#include "QDInfoCommon.h"
#include "QDInfoEventManager.h"
#include "Settings.h"
#include "srcwatch-api.h"
#include "srcwatch-host.h"
#include "srcwatch-protocol.h"

#include <unistd.h>
#include <vconf.h>

namespace ctl {

namespace {

struct Finding {
    bool isGood;
    std::string detail;
    std::string remedy;  // empty if nothing is wrong
};

Finding Good(const std::string& detail) { return {true, detail, ""}; }
Finding Bad(const std::string& detail, const std::string& remedy) { return {false, detail, remedy}; }

std::string OrUnusable(const char* path) { return path != nullptr ? path : "(unusable)"; }

// ---------------------------------------------------------------------------------------------------------------------
// Settings

Finding CheckReadable()
{
    const std::string places = OrUnusable(srcwatch_host_state_dir()) + ", " + OrUnusable(srcwatch_host_run_dir());
    int count = 0;
    const auto add = [](const char*, const srcwatch_host_value*, void* counted) { ++*static_cast<int*>(counted); };
    if (srcwatch_host_list_settings(add, &count) == 0) return Good(std::to_string(count) + " setting(s) in " + places);
    return Bad("the settings in " + places + " cannot be read",
               "let this user read and write the directories, or set SRCWATCH_STATE_DIR and SRCWATCH_RUN_DIR");
}

// Writes a setting of this process's own, which is removed again in any case.
Finding CheckWritable()
{
    const std::string key = "memory/srcwatchctl/doctor-" + std::to_string(getpid());
    const bool written = vconf_set_int(key.c_str(), getpid()) == 0;
    const bool read = ReadNumber(key) == getpid();
    const bool removed = srcwatch_host_unset(key.c_str()) == 0;
    if (written && read && removed) return Good("a setting was written, read and removed");
    return Bad("a setting could not be written, read and removed",
               "free space in " + OrUnusable(srcwatch_host_run_dir()) + " and let this user write there");
}

Finding CheckDocument(const std::string& key, srcwatch::StoredKind kind)
{
    const std::optional<std::string> text = ReadText(key);
    if (!text) return Good("none stored yet");
    const srcwatch::Inspection inspection = Inspect(srcwatch::JsonText(*text), kind);
    if (inspection.IsClean()) return Good("valid");
    const srcwatch::Finding* const unreadable = inspection.FirstUnreadable();
    if (unreadable == nullptr) return Good("readable; not as the service writes it: " + inspection.findings[0].Text());
    return Bad(unreadable->Text(),
               "'srcwatchctl settings get " + key + "' shows it; the detection service replaces it when it starts");
}

Finding CheckHdmiCount()
{
    const int count = get_hdmi_count();
    if (count > 0) return Good(std::to_string(count) + " HDMI input(s)");
    return Bad("the number of HDMI inputs is not known",
               "put 'inputs=4' into the group [hdmi] of " + OrUnusable(srcwatch_host_conf_path()));
}

// ---------------------------------------------------------------------------------------------------------------------
// Bus

Finding CheckBus()
{
    const Connection connection = ConnectBus();
    return Good(std::string("connected as ") + g_dbus_connection_get_unique_name(connection.get()));
}

std::string Describe(const BusOwner& owner)
{
    return owner.uniqueName + (owner.pid ? ", process " + std::to_string(*owner.pid) : "") +
           (owner.uid ? ", user " + std::to_string(*owner.uid) : "");
}

Finding CheckName()
{
    const std::optional<BusOwner> owner = ServiceOwner(ConnectBus().get());
    if (owner) return Good(SRCWATCH_BUS_NAME " is owned by " + Describe(*owner));
    return Bad(SRCWATCH_BUS_NAME " has no owner on the bus", "start srcwatch-service");
}

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

Finding CheckEvents()
{
    static_cast<void>(ConnectBus());  // throws without a bus
    if (Probe().Run()) return Good("an event was sent and received");
    return Bad("an event was sent and did not arrive",
               "let the bus's policy allow signals of the interface " SRCWATCH_BUS_NAME);
}

// ---------------------------------------------------------------------------------------------------------------------
// All checks

struct Check {
    const char* name;
    Finding (*run)();
};
constexpr Check kChecks[] = {
    {"hdmi-count", CheckHdmiCount},
    {"settings-readable", CheckReadable},
    {"settings-writable", CheckWritable},
    {"activity-document", [] { return CheckDocument(VCONF_SOURCE_ACTIVITY, srcwatch::StoredKind::kActivity); }},
    {"optical-document", [] { return CheckDocument(VCONF_OPTICAL_SOURCE_ACTIVITY, srcwatch::StoredKind::kOptical); }},
    {"statistics-document", [] { return CheckDocument(VCONF_SPD_AKSV_1, srcwatch::StoredKind::kStatistics); }},
    {"bus", CheckBus},
    {"service", CheckName},
    {"events", CheckEvents},
};

// Only the bus makes a check throw.
Finding Run(const Check& check)
{
    try {
        return check.run();
    } catch (const Failure& failure) {
        return Bad(failure.what(), "start a system bus, or set DBUS_SYSTEM_BUS_ADDRESS to the address of one");
    }
}

void Examine(Output& output)
{
    Json::Value document(Json::arrayValue);
    Table table{{"CHECK", "STATE", "DETAIL", "REMEDY"}, {}};
    int failed = 0;
    for (const Check& check : kChecks) {
        const Finding finding = Run(check);
        if (!finding.isGood) ++failed;
        Json::Value entry;
        entry["check"] = check.name;
        entry["ok"] = finding.isGood;
        entry["detail"] = finding.detail;
        entry["remedy"] = finding.isGood ? Json::Value() : Json::Value(finding.remedy);
        document.append(entry);
        const Cell state = finding.isGood ? Cell("ok", Colour::kGood) : Cell("FAILED", Colour::kBad);
        table.rows.push_back({check.name, state, finding.detail, finding.remedy});
    }
    output.Write(document, table);
    if (failed != 0) throw Failure(std::to_string(failed) + " check(s) failed");
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Output& output)
{
    app.add_subcommand("doctor", "Check that everything works together, and show how to fix what does not")
        ->callback([&output] { Examine(output); });
}

}  // namespace ctl
