// SPDX-License-Identifier: Apache-2.0
//
// Settings of the host platform: writes, reads, removals and listings of any keys and values, against a map.
//
// Input: one operation after the other. The store lies in memory where the machine has a file system there.
#include "Fuzz.h"
#include "Handle.h"
#include "Place.h"
#include "srcwatch-host.h"
#include "vconf.h"

#include <map>
#include <optional>

namespace {

using fuzz::Input;
using fuzz::Require;

constexpr std::size_t kLongest = 250;

// A number, or a text.
struct Value {
    std::optional<std::string> text;
    int number = 0;
};

bool operator==(const Value& a, const Value& b) { return a.text == b.text && a.number == b.number; }

using Settings = std::map<std::string, Value>;

// Where the settings lie.
class Place : public fuzz::Place {
public:
    Place()
    {
        const std::string state = Path() + "/state";
        const std::string run = Path() + "/run";
        Require(setenv("SRCWATCH_STATE_DIR", state.c_str(), 1) == 0 && setenv("SRCWATCH_RUN_DIR", run.c_str(), 1) == 0,
                "the place is named");
    }
};

bool IsKey(const std::string& key)
{
    const auto begins = [&](const std::string& prefix) {
        return key.size() > prefix.size() && key.compare(0, prefix.size(), prefix) == 0;
    };
    return begins("db/") || begins("memory/");
}

// Few distinct ones, so that they meet again; and any at all.
std::string Key(Input& input)
{
    const unsigned kind = input.Below(8);
    if (kind == 0) return fuzz::Printed(input.Text(kLongest));
    const std::string name =
        kind < 3 ? fuzz::Printed(input.Text(kLongest)) : std::string(1, static_cast<char>('a' + kind));
    return (input.Below(2) == 0 ? "db/" : "memory/") + name;
}

std::string Text(Input& input)
{
    std::string text = fuzz::Printed(input.Text(kLongest));
    const unsigned repeats = input.Below(16) == 0 ? input.Byte() : 1;  // to texts of many pages
    std::string all;
    for (unsigned i = 0; i < repeats; ++i) all += text;
    return all;
}

void Write(Input& input, const std::string& key, Settings& settings)
{
    Value value;
    if (input.Below(2) == 0) {
        value.number = input.Number();
        Require((vconf_set_int(key.c_str(), value.number) == 0) == IsKey(key), "a number is written under a key");
    } else {
        value.text = Text(input);
        Require((vconf_set_str(key.c_str(), value.text->c_str()) == 0) == IsKey(key), "a text is written under a key");
    }
    if (IsKey(key)) settings[key] = value;
}

void CheckRead(const std::string& key, const Settings& settings)
{
    const auto found = settings.find(key);
    const bool isNumber = found != settings.end() && !found->second.text;
    int number = -777;
    Require((vconf_get_int(key.c_str(), &number) == 0) == isNumber, "numbers are read");
    Require(number == (isNumber ? found->second.number : -777), "a number is read as it was written");

    const srcwatch::Handle<char, std::free> text(vconf_get_str(key.c_str()));
    Require((text != nullptr) == (found != settings.end() && !isNumber), "texts are read");
    Require(text == nullptr || *found->second.text == text.get(), "a text is read as it was written");
}

void Remove(const std::string& key, Settings& settings)
{
    Require((srcwatch_host_unset(key.c_str()) == 0) == IsKey(key), "a setting is removed");
    settings.erase(key);
}

void Collect(const char* key, const srcwatch_host_value* value, void* settings)
{
    Value& listed = (*static_cast<Settings*>(settings))[key];
    if (value->text != nullptr) {
        listed.text = value->text;
    } else {
        listed.number = value->number;
    }
}

void CheckList(const Settings& settings)
{
    Settings listed;
    Require(srcwatch_host_list_settings(&Collect, &listed) == 0, "settings are listed");
    Require(listed == settings, "all settings are listed, and no others");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    static const Place place;
    Input input(bytes, size);
    Settings settings;
    while (input.Left() > 0) {
        const unsigned operation = input.Below(8);
        const std::string key = Key(input);
        if (operation < 4) Write(input, key, settings);
        if (operation == 4) Remove(key, settings);
        if (operation == 5) CheckList(settings);
        CheckRead(key, settings);
    }
    CheckList(settings);
    while (!settings.empty()) Remove(std::string(settings.begin()->first), settings);
    CheckList(settings);
    return 0;
}
