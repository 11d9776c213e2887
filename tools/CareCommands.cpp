// SPDX-License-Identifier: Apache-2.0
//
// settings check, repair, backup, restore: the settings store as a whole.
#include "Bus.h"
#include "Commands.h"
#include "Failure.h"
#include "OptionalPlatform.h"
#include "Output.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

namespace ctl {

namespace {

constexpr char kDamaged[] = "the settings are damaged; 'srcwatchctl settings repair' recovers what is readable";

template <typename Function>
void RequirePlatform(Function* function, const char* deed)
{
    if (function != nullptr) return;
    throw Failure(std::string("this platform cannot ") + deed +
                  " its settings; use what its settings store has for that");
}

void RequireKnown(int result)
{
    if (result < 0 && result != -EUCLEAN)
        throw Failure(std::string("the settings cannot be checked: ") + strerrordesc_np(-result) + kSeeDoctor);
}

void Confirm(bool isRepaired, const std::string& sentence, Output& output)
{
    Json::Value document;
    document["repaired"] = isRepaired;
    output.Confirm(document, sentence);
}

void Check(Output& output)
{
    RequirePlatform(srcwatch_host_check_settings, "check");
    const int result = srcwatch_host_check_settings();
    RequireKnown(result);
    if (result != 0) throw Failure(kDamaged);
    Confirm(false, "the settings are sound", output);
}

void Repair(Output& output)
{
    RequirePlatform(srcwatch_host_check_settings, "check");
    RequirePlatform(srcwatch_host_repair_settings, "repair");
    const int found = srcwatch_host_check_settings();
    RequireKnown(found);
    const int result = found == 0 ? 0 : srcwatch_host_repair_settings();
    if (result != 0)
        throw Failure(std::string("the settings cannot be repaired: ") + strerrordesc_np(-result) + kSeeDoctor);
    Confirm(found != 0,
            found == 0 ? "the settings are sound: there was nothing to repair"
                       : "the settings are repaired; the damaged database is kept beside the new one",
            output);
}

std::string Reason(int result)
{
    switch (result) {
        case -EUCLEAN:
            return "it is damaged";
        case -ENOTSUP:
            return "it is of a later version of this software";
        case -EINVAL:
            return "not a backup of settings";
        default:
            return strerrordesc_np(-result);
    }
}

void ConfirmFile(const std::string& file, const std::string& sentence, Output& output)
{
    Json::Value document;
    document["file"] = file;
    output.Confirm(document, sentence);
}

void BackUp(const std::string& file, Output& output)
{
    RequirePlatform(srcwatch_host_back_up_settings, "copy");
    const int result = srcwatch_host_back_up_settings(file.c_str());
    if (result != 0) throw Failure("no backup in " + file + ": " + strerrordesc_np(-result));
    ConfirmFile(file, "the durable settings are in " + file, output);
}

// A running service would write what it has in memory over what was restored.
void Restore(const std::string& file, Output& output)
{
    RequirePlatform(srcwatch_host_restore_settings, "restore");
    if (ServiceOwner(ConnectBus().get()))
        throw Failure("the detection service runs and would undo this: stop it, restore, and start it again");
    const int result = srcwatch_host_restore_settings(file.c_str());
    if (result != 0) throw Failure("the settings are unchanged, as " + file + " cannot be restored: " + Reason(result));
    ConfirmFile(file, "the durable settings are those of " + file, output);
}

void AddFileCommand(cli::Command settings, const char* name, const char* description, Output& output,
                    void (*run)(const std::string&, Output&))
{
    const auto file = std::make_shared<std::string>();
    const cli::Command command = settings.AddCommand(name, description);
    command.AddArgument("FILE", file.get(), "Backup of the durable settings").Required();
    command.Runs([=, &output] { run(*file, output); });
}

}  // namespace

void AddCareCommands(cli::Command settings, Output& output)
{
    settings.AddCommand("check", "Check that the settings are not damaged").Runs([&output] { Check(output); });
    settings.AddCommand("repair", "Recover damaged settings").Runs([&output] { Repair(output); });
    AddFileCommand(settings, "backup", "Copy the durable settings to a file", output, BackUp);
    AddFileCommand(settings, "restore", "Replace the durable settings with a backup", output, Restore);
}

}  // namespace ctl
