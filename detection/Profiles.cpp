// SPDX-License-Identifier: Apache-2.0
#include "Profiles.h"

#include "DeviceType.h"
#include "Evidence.h"
#include "Glob.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include <json/json.h>

namespace srcwatch {

namespace {

constexpr std::size_t kFileLimit = 1024UL * 1024;
constexpr std::size_t kTextLimit = 99;  // what an event carries
constexpr std::size_t kAksvDigits = 10;

// The members of an entry's objects. A member that is not listed is most likely a spelling mistake.
struct Pattern {
    const char* name;
    std::string Signs::*text;
    std::size_t fieldSize;
};
constexpr Pattern kPatterns[] = {
    {"vendor", &Signs::vendor, 8},
    {"product", &Signs::product, 16},
    {"osd", &Signs::osd, 14},
    {"vendor_id", &Signs::vendorId, 6},
    {"physical_address", &Signs::physicalAddress, 7},
};

struct Code {
    const char* name;
    std::optional<int> Signs::*number;
    int largest;
};
constexpr Code kCodes[] = {
    {"source_information", &Signs::sourceInformation, 255},
    {"device_type", &Signs::deviceType, 7},
};

struct GivenText {
    const char* name;
    std::string Profile::*text;
};
constexpr GivenText kGivenTexts[] = {
    {"brand", &Profile::brand},
    {"device", &Profile::device},
    {"provider", &Profile::provider},
    {"codeset", &Profile::codeset},
};

template <typename Member, std::size_t Count>
const Member* FindMember(const Member (&members)[Count], const std::string& name)
{
    const auto* const found =
        std::find_if(std::begin(members), std::end(members), [&](const Member& member) { return name == member.name; });
    return found == std::end(members) ? nullptr : found;
}

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

std::string ReadPattern(const Json::Value& value, const Pattern& pattern)
{
    std::string glob = ReadText(value, pattern.name);
    const std::size_t shortest = ShortestMatch(glob);
    if (shortest <= pattern.fieldSize) return glob;
    throw Refusal{Quoted(pattern.name) + " can never match: it needs " + std::to_string(shortest) +
                  " characters, and the field has " + std::to_string(pattern.fieldSize)};
}

int ReadCode(const Json::Value& value, const Code& code)
{
    if (value.isInt() && value.asInt() >= 0 && value.asInt() <= code.largest) return value.asInt();
    throw Refusal{Quoted(code.name) + " is not a number from 0 to " + std::to_string(code.largest)};
}

std::string ReadAksvPrefix(const Json::Value& value)
{
    std::string prefix = ReadText(value, "aksv");
    if (prefix.size() > kAksvDigits || prefix.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        throw Refusal{"\"aksv\" is not the beginning of ten hexadecimal digits"};
    }
    std::transform(prefix.begin(), prefix.end(), prefix.begin(),
                   [](char c) { return c >= 'A' && c <= 'F' ? c + 32 : c; });
    return prefix;
}

void ReadSign(const std::string& name, const Json::Value& value, Signs& signs)
{
    if (name == "aksv") {
        signs.aksv = ReadAksvPrefix(value);
    } else if (const Pattern* const pattern = FindMember(kPatterns, name)) {
        signs.*(pattern->text) = ReadPattern(value, *pattern);
    } else if (const Code* const code = FindMember(kCodes, name)) {
        signs.*(code->number) = ReadCode(value, *code);
    } else {
        throw Refusal{Quoted(name) + " is not known in \"match\""};
    }
}

void ReadGift(const std::string& name, const Json::Value& value, Profile& profile)
{
    if (name == "type") return ReadType(value, profile);
    const GivenText* const text = FindMember(kGivenTexts, name);
    if (text == nullptr) throw Refusal{Quoted(name) + " is not known in \"give\""};
    profile.*(text->text) = ReadText(value, name);
}

void ReadMember(const std::string& object, const std::string& name, const Json::Value& value, Profile& profile)
{
    if (object == "match") return ReadSign(name, value, profile.match);
    ReadGift(name, value, profile);
}

bool HasNone(const Signs& signs)
{
    const auto isEmpty = [&](const Pattern& pattern) { return (signs.*(pattern.text)).empty(); };
    return std::all_of(std::begin(kPatterns), std::end(kPatterns), isEmpty) && signs.aksv.empty() &&
           !signs.sourceInformation && !signs.deviceType;
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
    if (HasNone(profile.match)) throw Refusal{"\"match\" is missing or empty"};
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

bool BeginsWith(const std::string& text, const std::string& prefix)
{
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool Matches(const Signs& match, const Signs& signs)
{
    const auto matchesText = [&](const Pattern& pattern) {
        const std::string& glob = match.*(pattern.text);
        return glob.empty() || MatchesGlob(glob, signs.*(pattern.text));
    };
    const auto matchesCode = [&](const Code& code) {
        return !(match.*(code.number)) || match.*(code.number) == signs.*(code.number);
    };
    return std::all_of(std::begin(kPatterns), std::end(kPatterns), matchesText) &&
           std::all_of(std::begin(kCodes), std::end(kCodes), matchesCode) && BeginsWith(signs.aksv, match.aksv);
}

// Returns true if the wide one matches whatever the narrow one matches.
bool Shadows(const Signs& wide, const Signs& narrow)
{
    const auto coversText = [&](const Pattern& pattern) {
        const std::string& glob = narrow.*(pattern.text);
        return (wide.*(pattern.text)).empty() || Covers(wide.*(pattern.text), glob.empty() ? "*" : glob);
    };
    const auto coversCode = [&](const Code& code) {
        return !(wide.*(code.number)) || wide.*(code.number) == narrow.*(code.number);
    };
    return std::all_of(std::begin(kPatterns), std::end(kPatterns), coversText) &&
           std::all_of(std::begin(kCodes), std::end(kCodes), coversCode) && BeginsWith(narrow.aksv, wide.aksv);
}

// Another file may shadow one on purpose, as an integrator's do.
using Iterator = std::vector<Profile>::const_iterator;
void RefuseShadowed(const Profile& profile, Iterator first, Iterator last)
{
    const auto shadow =
        std::find_if(first, last, [&](const Profile& other) { return Shadows(other.match, profile.match); });
    if (shadow != last)
        throw Refusal{"can never match: entry " + std::to_string(shadow->entry) + " always matches before"};
}

}  // namespace

std::vector<std::string> InstalledProfiles(const std::string& directory, const std::string& file)
{
    std::error_code error;
    const bool isThere = std::filesystem::status(directory, error).type() != std::filesystem::file_type::not_found;
    return isThere ? std::vector<std::string>{directory, file} : std::vector<std::string>{file};
}

std::vector<std::string> ListProfiles(const std::string& directory, std::error_code& error)
{
    std::vector<std::string> files;
    for (std::filesystem::directory_iterator it(directory, error), end; !error && it != end; it.increment(error)) {
        if (it->path().extension() == ".json") files.push_back(it->path().string());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string ProfileError::Text() const
{
    return Printable(file) + ": " + (entry < 0 ? "" : "entry " + std::to_string(entry) + ": ") + reason;
}

void Profiles::Load(const std::string& path)
{
    std::error_code error;  // a path that cannot be examined is reported by the attempt to read it
    if (std::filesystem::is_directory(path, error)) return LoadDirectory(path);
    m_isComplete = m_isComplete && !IsTransient(error.value());
    LoadFile(path);
}

void Profiles::LoadDirectory(const std::string& path)
{
    std::error_code error;
    const std::vector<std::string> files = ListProfiles(path, error);
    if (error) m_errors.push_back(ProfileError{path, -1, error.message()});
    m_isComplete = m_isComplete && !IsTransient(error.value());
    for (const std::string& file : files) LoadFile(file);
}

void Profiles::LoadFile(const std::string& path)
{
    const auto bytes = ReadBoundedFile(path, kFileLimit);
    if (bytes && bytes->value) return LoadText(std::string(bytes->value->begin(), bytes->value->end()), path);
    m_isComplete = m_isComplete && !(bytes && bytes->mayPass);
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
    const auto firstOfFile = static_cast<std::ptrdiff_t>(m_profiles.size());
    for (const Json::Value& value : entries) {
        ++entry;
        try {
            Profile profile = ReadEntry(value);
            profile.file = file;
            profile.entry = entry;
            RefuseShadowed(profile, m_profiles.begin() + firstOfFile, m_profiles.end());
            m_profiles.push_back(std::move(profile));
        } catch (const Refusal& refusal) {
            m_errors.push_back(ProfileError{file, entry, refusal.reason});
        }
    }
}

const Profile* Profiles::Find(const Signs& signs) const
{
    const auto profile = std::find_if(m_profiles.begin(), m_profiles.end(),
                                      [&](const Profile& candidate) { return Matches(candidate.match, signs); });
    return profile == m_profiles.end() ? nullptr : &*profile;
}

}  // namespace srcwatch
