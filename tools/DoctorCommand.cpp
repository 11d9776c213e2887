// SPDX-License-Identifier: Apache-2.0
//
// doctor: checks that everything works together, and how to fix what does not.
#include "BusChecks.h"
#include "Commands.h"
#include "Failure.h"
#include "OptionalPlatform.h"
#include "ProfileSource.h"
#include "Profiles.h"
#include "QDInfoCommon.h"
#include "StoreChecks.h"
#include "srcwatch-api.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>

#include <glib.h>
#include <sys/stat.h>
#include <system_info.h>
#include <unistd.h>

namespace ctl {

namespace {

// ---------------------------------------------------------------------------------------------------------------------
// Configuration

constexpr int kMostInputs = 8;

// Why the file of the host platform has no number of inputs, and the end of a remedy.
Finding NoInputsIn(const std::string& path)
{
    const std::string entry = "put 'inputs=4', or what the TV has, into the group [hdmi] of " + path;
    struct stat file = {};
    if (stat(path.c_str(), &file) != 0) {
        const std::string why = strerrordesc_np(errno);
        return Bad("the number of HDMI inputs is not known: " + path + ": " + why,
                   errno == ENOENT ? entry : "let the user " + ThisUser().name + " read " + path);
    }
    if (!S_ISREG(file.st_mode)) return Bad(path + " is not a file", "move it away, and " + entry);
    if (access(path.c_str(), R_OK) != 0) {
        const std::string user = ThisUser().name;
        return Bad("the user " + user + " may not read " + path, "let the user " + user + " read " + path);
    }
    const srcwatch::Handle<GKeyFile, g_key_file_unref> keys(g_key_file_new());
    GError* failure = nullptr;
    if (g_key_file_load_from_file(keys.get(), path.c_str(), G_KEY_FILE_NONE, &failure) == FALSE ||
        (g_key_file_get_integer(keys.get(), "hdmi", "inputs", &failure) == 0 && failure != nullptr)) {
        const srcwatch::Handle<GError, g_error_free> error(failure);
        return Bad("the number of HDMI inputs is not known: " + path + ": " + error->message, entry);
    }
    return Bad("the number of HDMI inputs is not known", entry);
}

// Nothing on a platform with another kind of configuration.
std::optional<std::string> ConfigurationFile()
{
    if (srcwatch_host_conf_path == nullptr) return std::nullopt;
    const char* const path = srcwatch_host_conf_path();
    return path != nullptr ? path : "";
}

Finding CheckHdmiCount()
{
    const std::optional<std::string> path = ConfigurationFile();
    const std::string own = "have the system information of this platform return what the TV has";
    int count = 0;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count) != 0)
        return path ? NoInputsIn(*path) : Bad("the number of HDMI inputs is not known", own);
    if (count >= 1 && count <= kMostInputs) return Good(std::to_string(count) + " HDMI input(s)");
    return Bad(std::to_string(count) + " HDMI inputs are not possible: 1 to " + std::to_string(kMostInputs),
               path ? "put 'inputs=4', or what the TV has, into the group [hdmi] of " + *path : own);
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
    return Bad(error.Text(),
               "correct it: 'srcwatchctl validate --kind profiles " + ShellQuoted(error.file) + "' shows all faults");
}

// ---------------------------------------------------------------------------------------------------------------------
// All checks

struct Check {
    const char* name;
    std::function<Finding()> run;
};

Finding CheckOwnStore()
{
    return Good("not tested: this platform has a store of its own; srcwatch-platform-test tests a platform");
}

std::vector<Check> SettingsChecks(const BusView& bus)
{
    if (!srcwatch::HasHostFiles()) return {{"settings", CheckOwnStore}};
    return {
        {"sqlite", CheckSqlite},
        {"state-directory", [] { return CheckDirectory(DurablePlace()); }},
        {"run-directory", [] { return CheckDirectory(VolatilePlace()); }},
        {"settings-readable", CheckReadable},
        {"settings-writable", CheckWritable},
        {"settings-owner", [&] { return CheckOwnership(ServiceUser(bus)); }},
        {"settings-damaged", CheckPutAside},
    };
}

std::vector<Check> DocumentChecks()
{
    return {
        {"activity-document", [] { return CheckDocument(VCONF_SOURCE_ACTIVITY, srcwatch::StoredKind::kActivity); }},
        {"optical-document",
         [] { return CheckDocument(VCONF_OPTICAL_SOURCE_ACTIVITY, srcwatch::StoredKind::kOptical); }},
        {"statistics-document", [] { return CheckDocument(VCONF_SPD_AKSV_1, srcwatch::StoredKind::kStatistics); }},
    };
}

std::vector<Check> BusChecks(const BusView& bus)
{
    return {
        {"bus", [&] { return CheckBus(bus); }},
        {"bus-policy", [&] { return CheckPolicy(bus); }},
        {"bus-group", [&] { return CheckGroup(bus); }},
        {"service", [&] { return CheckName(bus); }},
        {"service-answers", [&] { return CheckAnswer(bus); }},
        {"events", [&] { return CheckEvents(bus); }},
    };
}

// Causes come before what they cause.
std::vector<Check> AllChecks(const std::vector<std::string>& profiles, const BusView& bus)
{
    std::vector<Check> all{{"hdmi-count", CheckHdmiCount}, {"profiles", [&] { return CheckProfiles(profiles); }}};
    for (const std::vector<Check>& checks : {SettingsChecks(bus), DocumentChecks(), BusChecks(bus)}) {
        all.insert(all.end(), checks.begin(), checks.end());
    }
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
        const Finding finding = check.run();
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
