// SPDX-License-Identifier: Apache-2.0
//
// doctor: checks that everything works together, and how to fix what does not.
#include "BusChecks.h"
#include "Commands.h"
#include "Failure.h"
#include "InputName.h"
#include "Inspection.h"
#include "OptionalPlatform.h"
#include "ProfileSource.h"
#include "Profiles.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "Users.h"

#include <memory>

#include <system_info.h>
#include <unistd.h>

namespace ctl {

namespace {

// ---------------------------------------------------------------------------------------------------------------------
// Configuration

// For a platform that does not know better what is wrong with it.
Finding CheckHdmiCount()
{
    const std::string remedy = "have the system information of this platform return what the TV has";
    int count = 0;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count) != 0)
        return Bad("the number of HDMI inputs is not known", remedy);
    if (count >= 1 && count <= srcwatch::kHdmiPorts) return Good(std::to_string(count) + " HDMI input(s)");
    return Bad(std::to_string(count) + " HDMI inputs are not possible: 1 to " + std::to_string(srcwatch::kHdmiPorts),
               remedy);
}

Finding CheckProfiles(const std::vector<std::string>& paths)
{
    srcwatch::Profiles profiles;
    for (const std::string& path : paths) profiles.Load(path);
    if (profiles.Errors().empty()) return Good(std::to_string(profiles.Count()) + " profile(s) can be loaded");
    const srcwatch::ProfileError& error = profiles.Errors().front();
    if (access(error.file.c_str(), F_OK) != 0) {
        return Bad(error.Text(),
                   "install the package srcwatch-service again, or give its profiles to the service and to "
                   "doctor with --profiles");
    }
    return Bad(error.Text(), "correct it: 'srcwatchctl validate --kind profiles " + srcwatch::ShellQuoted(error.file) +
                                 "' shows all faults");
}

// ---------------------------------------------------------------------------------------------------------------------
// Documents

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

// ---------------------------------------------------------------------------------------------------------------------
// All checks

struct Check {
    std::string name;
    Finding finding;
};

std::vector<Check> PlatformChecks(const BusView& bus)
{
    if (srcwatch_host_examine == nullptr) {
        return {{"hdmi-count", CheckHdmiCount()},
                {"settings", Good("not tested: this platform has a store of its own; srcwatch-platform-test tests a "
                                  "platform")}};
    }
    std::vector<Check> checks;
    const auto add = [](const srcwatch_host_finding* found, void* all) {
        const bool isGood = found->remedy == nullptr;
        const Finding finding = isGood ? Good(found->detail) : Bad(found->detail, found->remedy);
        static_cast<std::vector<Check>*>(all)->push_back({found->check, finding});
    };
    if (srcwatch_host_examine(ServiceUser(bus), add, &checks) != 0) throw Failure("the platform cannot be examined");
    return checks;
}

// Causes come before what they cause.
std::vector<Check> AllChecks(const std::vector<std::string>& profiles, const BusView& bus)
{
    using Kind = srcwatch::StoredKind;
    std::vector<Check> all = PlatformChecks(bus);
    const std::vector<Check> own{
        {"profiles", CheckProfiles(profiles)},
        {"activity-document", CheckDocument(VCONF_SOURCE_ACTIVITY, Kind::kActivity)},
        {"optical-document", CheckDocument(VCONF_OPTICAL_SOURCE_ACTIVITY, Kind::kOptical)},
        {"statistics-document", CheckDocument(VCONF_SPD_AKSV_1, Kind::kStatistics)},
        {"bus", CheckBus(bus)},
        {"bus-policy", CheckPolicy(bus)},
        {"bus-group", CheckGroup(bus)},
        {"service", CheckName(bus)},
        {"service-answers", CheckAnswer(bus)},
        {"events", CheckEvents(bus)},
    };
    all.insert(all.end(), own.begin(), own.end());
    return all;
}

// A service that does not answer is not asked.
std::vector<std::string> ProfilesToCheck(const std::vector<std::string>& given, const BusView& bus)
{
    const bool mayAsk = !given.empty() || bus.answer == ServiceAnswer::kAnswered;
    return (mayAsk ? FindProfiles(given) : InstalledProfiles()).paths;
}

void Examine(const std::vector<std::string>& given, Output& output)
{
    Json::Value document(Json::arrayValue);
    Table table{{"CHECK", "STATE", {"DETAIL", Fit::kWrapped}, {"REMEDY", Fit::kWrapped}}, {}};
    int failed = 0;
    const BusView bus = LookAtBus();
    const std::vector<std::string> profiles = ProfilesToCheck(given, bus);
    for (const Check& check : AllChecks(profiles, bus)) {
        const Finding& finding = check.finding;
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

void AddDoctorCommand(cli::Command app, Output& output)
{
    const cli::Command doctor =
        app.AddCommand("doctor", "Check that everything works together, and show how to fix what does not");
    const auto profiles = std::make_shared<std::vector<std::string>>();
    doctor
        .AddOption("--profiles", profiles.get(), "PATH",
                   "Profiles to check instead of the running service's, a file or a directory")
        .TakesOneEach();
    doctor.Runs([=, &output] { Examine(*profiles, output); });
}

}  // namespace ctl
