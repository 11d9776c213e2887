// SPDX-License-Identifier: Apache-2.0
//
// Texts of profiles.json with any content: which entries are taken and which refused, and which one matches a
// device, against rules of its own. Parsing itself is left to JsonCpp on both sides.
//
// Input: the three names of a device, how the text is made, then what it is made of.
#include "Fuzz.h"
#include "JsonText.h"
#include "Profiles.h"

#include <cctype>
#include <map>
#include <memory>
#include <optional>
#include <set>

namespace {

using fuzz::Input;
using fuzz::Require;

const fuzz::Names kNames = {"profiles", "match", "give",        "vendor",           "product",
                            "osd",      "type",  "brand",       "device",           "provider",
                            "codeset",  "aksv",  "device_type", "physical_address", "source_information",
                            "vendor_id"};
const std::set<std::string> kMatchNames = {
    "vendor", "product", "osd", "vendor_id", "aksv", "device_type", "physical_address", "source_information"};
const std::map<std::string, int> kLargestCodes = {{"device_type", 7}, {"source_information", 255}};
const std::set<std::string> kGiveNames = {"type", "brand", "device", "provider", "codeset"};
const std::set<int> kTypes = {1, 3, 4, 5, 6, 7, 8, 9};

// --- Making a text

std::string Hexadecimal(Input& input, std::size_t size)
{
    std::string digits;
    while (digits.size() < size) digits += "0123456789abcdef"[input.Below(4)];
    return digits;
}

std::string MemberText(Input& input, const std::string& name)
{
    if (name == "type" && input.Below(8) != 0) return std::to_string(input.Below(11));
    if (kLargestCodes.count(name) > 0 && input.Below(8) != 0) return std::to_string(input.Below(9));
    if (name == "aksv" && input.Below(8) != 0) return "\"" + Hexadecimal(input, input.Below(4)) + "\"";
    if (input.Below(16) == 0) return fuzz::JsonValue(input, kNames);
    return fuzz::JsonString(input.Text(110));
}

// Some of the members of an object; twice the same is possible, and one of another object.
std::string ObjectText(Input& input, const std::set<std::string>& names)
{
    std::string text = "{";
    for (const std::string& name : names) {
        if (input.Below(4) == 0) continue;
        const unsigned odd = input.Byte();
        const std::string chosen = odd < 0xfa ? name : kNames[odd % kNames.size()];
        text += (text.size() > 1 ? "," : "") + fuzz::JsonString(chosen) + ":" + MemberText(input, chosen);
    }
    return text + "}";
}

std::string EntryText(Input& input)
{
    if (input.Below(16) == 0) return fuzz::JsonValue(input, kNames);
    return "{\"match\":" + ObjectText(input, kMatchNames) + ",\"give\":" + ObjectText(input, kGiveNames) + "}";
}

std::string ProfilesText(Input& input)
{
    const unsigned manner = input.Below(8);
    if (manner == 0) return input.Rest();
    if (manner == 1) return fuzz::JsonValue(input, kNames);
    std::string text = "{\"profiles\":[" + EntryText(input);
    for (unsigned left = input.Below(6); left > 0; --left) text += "," + EntryText(input);
    return text + "]}" + (manner == 2 ? input.Text(5) : "");
}

// --- The expected entries

bool IsName(const Json::Value& value)
{
    if (!value.isString()) return false;
    const std::string text = value.asString();
    return !text.empty() && text.size() <= 99 &&
           std::none_of(text.begin(), text.end(), [](char c) { return std::iscntrl(static_cast<unsigned char>(c)); });
}

bool IsTyped(const Json::Value& value) { return value.isInt() && kTypes.count(value.asInt()) > 0; }

bool IsAksv(const Json::Value& value)
{
    const std::string text = IsName(value) ? value.asString() : "";
    return !text.empty() && text.size() <= 10 &&
           std::all_of(text.begin(), text.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

bool IsMember(const std::string& name, const Json::Value& value)
{
    const auto code = kLargestCodes.find(name);
    if (code != kLargestCodes.end()) return value.isInt() && value.asInt() >= 0 && value.asInt() <= code->second;
    if (name == "type") return IsTyped(value);
    return name == "aksv" ? IsAksv(value) : IsName(value);
}

bool IsMadeOf(const Json::Value& object, const std::set<std::string>& names)
{
    if (!object.isObject()) return false;
    for (const std::string& name : object.getMemberNames()) {
        const bool known = names.count(name) > 0;
        if (!known || !IsMember(name, object[name])) return false;
    }
    return true;
}

bool IsProfile(const Json::Value& entry)
{
    if (!entry.isObject() || !entry.isMember("match") || !entry.isMember("give") || entry.size() != 2) return false;
    return IsMadeOf(entry["match"], kMatchNames) && IsMadeOf(entry["give"], kGiveNames) && !entry["match"].empty() &&
           entry["give"].isMember("type");
}

// The entries; null if the text is refused as a whole.
Json::Value EntriesOf(const std::string& text)
{
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    static Json::CharReader& reader = *builder.newCharReader();
    Json::Value root;
    std::string errors;
    try {
        if (!reader.parse(text.data(), text.data() + text.size(), &root, &errors)) return Json::Value();
    } catch (const Json::Exception&) {
        return Json::Value();
    }
    return root.isObject() && root["profiles"].isArray() ? root["profiles"] : Json::Value();
}

int Lower(char c) { return std::tolower(static_cast<unsigned char>(c)); }

// Globs of '*', '?' and characters, without regard to case.
bool Matches(const std::string& glob, const std::string& text)
{
    std::size_t at = 0;
    std::size_t star = std::string::npos;  // the last one, and how much of the text it has matched
    std::size_t taken = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (at < glob.size() && glob[at] == '*') {
            star = at++;
            taken = i;
        } else if (at < glob.size() && (glob[at] == '?' || Lower(glob[at]) == Lower(text[i]))) {
            ++at;
            ++i;
        } else if (star != std::string::npos) {
            at = star + 1;
            i = ++taken;
        } else {
            return false;
        }
    }
    return glob.find_first_not_of('*', at) == std::string::npos;
}

bool Matches(const Json::Value& match, const char* name, const std::string& text)
{
    return !match.isMember(name) || Matches(match[name].asString(), text);
}

bool MatchesCode(const Json::Value& match, const char* name, std::optional<int> code)
{
    return !match.isMember(name) || (code && match[name].asInt() == *code);
}

bool MatchesAksv(const Json::Value& match, const std::string& aksv)
{
    const std::string prefix = match.isMember("aksv") ? match["aksv"].asString() : "";
    return Matches(prefix + "*", aksv);
}

// Sets of characters are left to the C library.
bool HasSet(const Json::Value& entry)
{
    const Json::Value& match = entry["match"];
    return std::any_of(kMatchNames.begin(), kMatchNames.end(), [&](const std::string& name) {
        return match.isMember(name) && match[name].asString().find('[') != std::string::npos;
    });
}

void CheckFound(const srcwatch::Profile* found, const std::vector<Json::Value>& profiles, const srcwatch::Signs& device)
{
    if (std::any_of(profiles.begin(), profiles.end(), &HasSet)) return;
    const auto expected = std::find_if(profiles.begin(), profiles.end(), [&](const Json::Value& profile) {
        const Json::Value& match = profile["match"];
        return Matches(match, "vendor", device.vendor) && Matches(match, "product", device.product) &&
               Matches(match, "osd", device.osd) && Matches(match, "vendor_id", device.vendorId) &&
               Matches(match, "physical_address", device.physicalAddress) && MatchesAksv(match, device.aksv) &&
               MatchesCode(match, "source_information", device.sourceInformation) &&
               MatchesCode(match, "device_type", device.deviceType);
    });
    Require((found != nullptr) == (expected != profiles.end()), "that a profile matches");
    if (found == nullptr) return;
    const Json::Value& give = (*expected)["give"];
    Require(found->type == give["type"].asInt(), "the type of the first profile that matches");
    Require(found->brand == give["brand"].asString() && found->device == give["device"].asString(),
            "the names of the first profile that matches");
    Require(found->provider == give["provider"].asString() && found->codeset == give["codeset"].asString(),
            "provider and codeset of the first profile that matches");
}

// Good entries that are left out because they never match, which does not change what is found.
std::size_t CountNeverMatching(const srcwatch::Profiles& profiles, const Json::Value& entries)
{
    const auto isGood = [&](const srcwatch::ProfileError& error) {
        return error.reason.find("can never match") != std::string::npos && IsProfile(entries[error.entry]);
    };
    return static_cast<std::size_t>(std::count_if(profiles.Errors().begin(), profiles.Errors().end(), isGood));
}

void CheckErrors(const srcwatch::Profiles& profiles)
{
    for (const srcwatch::ProfileError& error : profiles.Errors()) {
        const std::string text = error.Text();
        Require(std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }),
                "an error is one line of ASCII");
    }
}

// What a device can report: printable text of at most size bytes.
std::string DeviceName(Input& input, std::size_t size)
{
    std::string name = input.Text(size);
    for (char& c : name) c = static_cast<char>(' ' + static_cast<unsigned char>(c) % 95);
    return name;
}

std::optional<int> DeviceCode(Input& input)
{
    const int code = static_cast<int>(input.Below(10));
    return code == 9 ? std::nullopt : std::optional<int>(code);
}

srcwatch::Signs DeviceSigns(Input& input)
{
    srcwatch::Signs signs;
    signs.vendor = DeviceName(input, 8);
    signs.product = DeviceName(input, 16);
    signs.osd = DeviceName(input, 14);
    if (input.Below(2) == 0) return signs;
    signs.vendorId = Hexadecimal(input, 6);
    signs.physicalAddress = "1." + std::to_string(input.Below(3)) + ".0.0";
    signs.aksv = Hexadecimal(input, 10);
    signs.sourceInformation = DeviceCode(input);
    signs.deviceType = DeviceCode(input);
    return signs;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    const srcwatch::Signs device = DeviceSigns(input);
    const std::string text = ProfilesText(input);
    srcwatch::Profiles profiles;
    profiles.LoadText(text, "profiles.json");
    CheckErrors(profiles);

    const Json::Value entries = EntriesOf(text);
    std::vector<Json::Value> expected;
    for (const Json::Value& entry : entries) {
        if (IsProfile(entry)) expected.push_back(entry);
    }
    const std::size_t never = CountNeverMatching(profiles, entries);
    const std::size_t refused = never + (entries.isArray() ? entries.size() - expected.size() : 1);
    Require(profiles.Count() + never == expected.size(), "the number of profiles");
    Require(profiles.Errors().size() == refused, "one error for each refused entry, or one for the text");
    CheckFound(profiles.Find(device), expected, device);
    return 0;
}
