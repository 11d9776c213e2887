// SPDX-License-Identifier: Apache-2.0
#include "Profiles.h"

#include "DeviceType.h"
#include "Evidence.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include <fnmatch.h>
#include <json/json.h>

namespace srcwatch {

namespace {

constexpr std::size_t kFileLimit = 1024UL * 1024;
constexpr std::size_t kTextLimit = 99;  // what an event carries

// The members of an entry's objects. A member that is not listed is most likely a spelling mistake.
struct TextMember {
    const char* object;
    const char* name;
    std::string Profile::*text;
};
constexpr TextMember kTextMembers[] = {
    {"match", "vendor", &Profile::vendor},  {"match", "product", &Profile::product},
    {"match", "osd", &Profile::osd},        {"give", "brand", &Profile::brand},
    {"give", "device", &Profile::device},   {"give", "provider", &Profile::provider},
    {"give", "codeset", &Profile::codeset},
};

// Thrown and caught in this file only, to leave the reading of one entry.
struct Refusal {
    std::string reason;
};

std::string Quoted(const std::string& text) { return "\"" + Printable(text) + "\""; }

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

std::string ReadText(const Json::Value& value, const std::string& name)
{
    if (!value.isString()) throw Refusal{Quoted(name) + " is not a text"};
    std::string text = value.asString();
    if (text.empty()) throw Refusal{Quoted(name) + " is empty"};
    if (text.size() > kTextLimit) throw Refusal{Quoted(name) + " is longer than 99 bytes"};
    if (std::any_of(text.begin(), text.end(), IsControl)) {
        throw Refusal{Quoted(name) + " has control characters"};
    }
    return text;
}

void ReadType(const Json::Value& value, Profile& profile)
{
    if (!value.isInt() || DeviceTypeText(value.asInt()) == nullptr) {
        throw Refusal{"\"type\" is none of 1, 3, 4, 5, 6, 7, 8, 9"};
    }
    profile.type = value.asInt();
}

void ReadMember(const std::string& object, const std::string& name, const Json::Value& value, Profile& profile)
{
    if (object == "give" && name == "type") return ReadType(value, profile);
    const auto* const member = std::find_if(std::begin(kTextMembers), std::end(kTextMembers),
                                            [&](const TextMember& m) { return object == m.object && name == m.name; });
    if (member == std::end(kTextMembers)) throw Refusal{Quoted(name) + " is not known in " + Quoted(object)};
    profile.*(member->text) = ReadText(value, name);
}

Profile ReadEntry(const Json::Value& entry)
{
    if (!entry.isObject()) throw Refusal{"not an object"};
    Profile profile;
    for (const std::string& object : entry.getMemberNames()) {
        if (object != "match" && object != "give") throw Refusal{Quoted(object) + " is not known"};
        if (!entry[object].isObject()) throw Refusal{Quoted(object) + " is not an object"};
        for (const std::string& name : entry[object].getMemberNames()) {
            ReadMember(object, name, entry[object][name], profile);
        }
    }
    if (profile.vendor.empty() && profile.product.empty() && profile.osd.empty()) {
        throw Refusal{"\"match\" has none of \"vendor\", \"product\", \"osd\""};
    }
    if (profile.type == 0) throw Refusal{"\"give\" has no \"type\""};
    return profile;
}

Json::Value Parse(const std::string& text)
{
    Json::CharReaderBuilder builder;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        throw Refusal{"not JSON: " + Printable(errors)};
    }
    if (!root.isObject() || !root["profiles"].isArray()) {
        throw Refusal{"not an object with an array \"profiles\""};
    }
    return root["profiles"];
}

bool Matches(const std::string& pattern, const std::string& text)
{
    return pattern.empty() || fnmatch(pattern.c_str(), text.c_str(), FNM_CASEFOLD | FNM_NOESCAPE) == 0;
}

}  // namespace

std::string ProfileError::Text() const
{
    return Printable(file) + ": " + (entry < 0 ? "" : "entry " + std::to_string(entry) + ": ") + reason;
}

void Profiles::Load(const std::string& path)
{
    std::error_code ignored;  // a path that cannot be examined is reported by the attempt to read it
    if (std::filesystem::is_directory(path, ignored)) return LoadDirectory(path);
    LoadFile(path);
}

void Profiles::LoadDirectory(const std::string& path)
{
    std::error_code error;
    std::vector<std::string> files;
    for (std::filesystem::directory_iterator it(path, error), end; !error && it != end; it.increment(error)) {
        if (it->path().extension() == ".json") files.push_back(it->path().string());
    }
    if (error) m_errors.push_back(ProfileError{path, -1, error.message()});
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) LoadFile(file);
}

void Profiles::LoadFile(const std::string& path)
{
    const auto bytes = ReadBoundedFile(path, kFileLimit);
    if (bytes && bytes->value) return LoadText(std::string(bytes->value->begin(), bytes->value->end()), path);
    m_errors.push_back(ProfileError{path, -1, bytes ? InOneLine(bytes->remarks) : "no such file"});
}

void Profiles::LoadText(const std::string& text, const std::string& file)
{
    int entry = -1;
    Json::Value entries;
    try {
        entries = Parse(text);
    } catch (const Refusal& refusal) {
        m_errors.push_back(ProfileError{file, entry, refusal.reason});
    } catch (const Json::Exception& e) {  // nested too deep
        m_errors.push_back(ProfileError{file, entry, "not JSON: " + Printable(e.what())});
    }
    for (const Json::Value& value : entries) {
        ++entry;
        try {
            m_profiles.push_back(ReadEntry(value));
        } catch (const Refusal& refusal) {
            m_errors.push_back(ProfileError{file, entry, refusal.reason});
        }
    }
}

const Profile* Profiles::Find(const std::string& vendor, const std::string& product, const std::string& osd) const
{
    const auto profile = std::find_if(m_profiles.begin(), m_profiles.end(), [&](const Profile& candidate) {
        return Matches(candidate.vendor, vendor) && Matches(candidate.product, product) && Matches(candidate.osd, osd);
    });
    return profile == m_profiles.end() ? nullptr : &*profile;
}

}  // namespace srcwatch
