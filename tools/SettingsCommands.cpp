// SPDX-License-Identifier: Apache-2.0
//
// settings: the platform's settings store.
#include "Arguments.h"
#include "Commands.h"
#include "Failure.h"
#include "Loop.h"
#include "Settings.h"

#include <memory>
#include <string>

#include <glib.h>

namespace ctl {

namespace {

// Null if a setting does not exist or was removed.
Json::Value ReadValue(const std::string& key)
{
    if (const std::optional<int> number = ReadNumber(key)) return *number;
    std::string text;
    const srcwatch::ReadResult result = ReadText(key, text);
    if (result == srcwatch::ReadResult::kTooLarge) ThrowTooLarge(key);
    return result == srcwatch::ReadResult::kRead ? Json::Value(text) : Json::Value();
}

const char* TypeName(const Json::Value& value)
{
    if (value.isNull()) return "removed";
    return value.isString() ? "text" : "int";
}

Json::Value SettingToJson(const std::string& key, const Json::Value& value)
{
    Json::Value document;
    document["key"] = key;
    document["type"] = value.isNull() ? Json::Value() : Json::Value(TypeName(value));
    document["value"] = value;
    return document;
}

// A setting as it is shown; that of a null value was removed.
struct Shown {
    Shown(const std::string& key, const srcwatch_host_value* value)
    {
        Json::Value json;
        if (value != nullptr) json = value->text != nullptr ? Json::Value(value->text) : Json::Value(value->number);
        document = SettingToJson(key, json);
        row = {key, TypeName(json), CellText(json)};
        if (value == nullptr || value->unread == 0) return;
        document["value"] = Json::nullValue;
        row.back() = Cell("(too large: " + std::to_string(value->unread) + " bytes)", Colour::kBad);
    }

    Json::Value document;
    Row row;
};

// ---------------------------------------------------------------------------------------------------------------------
// List, get, set

void List(const std::string& prefix, Output& output)
{
    struct Found {
        const std::string& prefix;
        Json::Value document{Json::arrayValue};
        Table table{{"KEY", "TYPE", {"VALUE", Fit::kCut}}, {}};
    };
    Found found{prefix};
    const auto add = [](const char* key, const srcwatch_host_value* value, void* data) {
        auto& list = *static_cast<Found*>(data);
        if (std::string(key).rfind(list.prefix, 0) != 0) return;
        const Shown shown(key, value);
        list.document.append(shown.document);
        list.table.rows.push_back(shown.row);
    };
    ListSettings(add, &found);
    output.Write(found.document, found.table);
}

void Get(const std::string& key, Output& output)
{
    RequireSettings();
    const Json::Value value = ReadValue(key);
    if (value.isNull()) throw Failure("no such setting: " + key);
    output.WriteText(SettingToJson(key, value), CellText(value));
}

struct SetOptions {
    std::string key;
    std::string value;
    std::optional<bool> isNumber;  // nothing for the type that the setting has
};

// A setting keeps its type, because readers of another type fail; a new one is a number if its value reads as one.
bool WantsNumber(const SetOptions& options)
{
    if (options.isNumber) return *options.isNumber;
    std::string text;
    if (ReadText(options.key, text) == srcwatch::ReadResult::kTooLarge) return false;
    const Json::Value before = ReadValue(options.key);
    return before.isNull() ? ParseInt(options.value).has_value() : before.isInt();
}

void Set(const SetOptions& options, Output& output)
{
    const auto& [key, value, isNumber] = options;
    if (WantsNumber(options)) {
        const std::optional<int> number = ParseInt(value);
        if (!number) throw Failure(key + " is a number, and '" + value + "' is not a 32-bit number", kUsage);
        WriteNumber(key, *number);
    } else {
        if (!g_utf8_validate(value.c_str(), -1, nullptr)) throw Failure("the value is not valid UTF-8", kUsage);
        WriteText(key, value);
    }
    output.Confirm(SettingToJson(key, ReadValue(key)), key + " = " + value);
}

void Unset(const std::string& key, Output& output)
{
    RequireRemoval();
    RequireSettings();
    std::string text;
    const bool isThere = ReadText(key, text) != srcwatch::ReadResult::kAbsent || ReadNumber(key).has_value();
    if (!isThere) throw Failure("no such setting: " + key);
    RemoveSetting(key);
    output.Confirm(SettingToJson(key, Json::nullValue), "removed " + key);
}

// ---------------------------------------------------------------------------------------------------------------------
// Watch

class Watch {
public:
    Watch(Output& output, int count) : m_output(output), m_count(count) {}

    Loop::End Run(const std::string& key, std::optional<double> seconds)
    {
        const SettingsWatch watch(key.empty() ? nullptr : key.c_str(), OnWritten, this);
        m_output.BeginStream();
        const Loop::End end = m_loop.Run(seconds);
        m_output.EndStream();
        return end;
    }

private:
    static void OnWritten(const char* key, const srcwatch_host_value* value, void* self)
    {
        auto& watch = *static_cast<Watch*>(self);
        watch.m_loop.Guard([&] { watch.Show({key, value}); });
    }

    void Show(const Shown& shown)
    {
        m_output.Element(shown.document, shown.row);
        if (m_count != 0 && ++m_shown == m_count) m_loop.Quit();
    }

    Output& m_output;
    const int m_count;  // of writes to show; 0 for all
    int m_shown = 0;
    Loop m_loop;
};

void RunWatch(const std::string& key, int count, std::optional<double> seconds, Output& output)
{
    const Loop::End end = Watch(output, count).Run(key, seconds);
    if (end == Loop::End::kTimedOut) throw Failure("settings watch: time is up", kTimedOut);
}

// ---------------------------------------------------------------------------------------------------------------------
// Arguments

std::string CheckKey(const std::string& key)
{
    if (key.rfind("db/", 0) == 0 || key.rfind("memory/", 0) == 0) return "";
    return "'" + key + "' is not a key: keys begin with db/ or memory/";
}

cli::Option AddKey(cli::Command command, std::string& key)
{
    return command.AddArgument("KEY", &key, "Key, beginning with db/ or memory/").CheckedBy({CheckKey});
}

void AddSet(cli::Command settings, Output& output)
{
    const auto options = std::make_shared<SetOptions>();
    const cli::Command set = settings.AddCommand("set", "Write a setting");
    AddKey(set, options->key).Required();
    set.AddArgument("VALUE", &options->value, "Value; its type is the setting's, or else what it looks like")
        .Required();
    const cli::Option number = set.AddFlag(
        "--int", [=] { options->isNumber = true; }, "Write a number");
    set.AddFlag(
           "--text", [=] { options->isNumber = false; }, "Write a text")
        .Excludes(number);
    set.Runs([=, &output] { Set(*options, output); });
}

void AddWatch(cli::Command settings, Output& output)
{
    const auto key = std::make_shared<std::string>();
    const auto count = std::make_shared<int>(0);
    const auto timeout = std::make_shared<std::optional<double>>();
    const cli::Command watch = settings.AddCommand("watch", "Show the writes to a setting, or to all, as they happen");
    AddKey(watch, *key);
    AddCount(watch, *count, "End after this many writes");
    AddTimeout(watch, *timeout, "End, with exit code 3, after this time");
    watch.Runs([=, &output] { RunWatch(*key, *count, *timeout, output); });
}

}  // namespace

void AddSettingsCommands(cli::Command app, Output& output)
{
    const cli::Command settings = app.AddCommand("settings", "Inspect and change the settings store");
    settings.RequireCommand();

    const auto key = std::make_shared<std::string>();
    const cli::Command list = settings.AddCommand("list", "List the settings");
    list.AddArgument("PREFIX", key.get(), "Only the keys that begin with this");
    list.Runs([=, &output] { List(*key, output); });

    const cli::Command get = settings.AddCommand("get", "Print the value of a setting, as it is");
    AddKey(get, *key).Required();
    get.Runs([=, &output] { Get(*key, output); });

    AddSet(settings, output);

    const cli::Command unset = settings.AddCommand("unset", "Remove a setting");
    AddKey(unset, *key).Required();
    unset.Runs([=, &output] { Unset(*key, output); });

    AddWatch(settings, output);
    AddCareCommands(settings, output);
}

}  // namespace ctl
