// SPDX-License-Identifier: Apache-2.0
//
// Settings as one thread sees them.
#include "SettingsKeys.h"

#include <climits>
#include <ctime>

#include <unistd.h>

namespace conformance {

namespace {

// A key that nobody has ever written.
std::string AbsentKey(const char* family)
{
    return std::string(family) + "absent-" + std::to_string(getpid()) + "-" + std::to_string(std::time(nullptr));
}

// Throws Broken unless an integer cannot be read, and the output stays.
void RequireNoInteger(const Platform& platform, const std::string& key, const std::string& what)
{
    for (const int before : {0, 4711}) {
        int value = before;
        Require(platform.GetInt(key.c_str(), &value) != 0, what + " is read as " + std::to_string(value));
        Require(value == before, "the read of " + what + " fails, but changes the output");
    }
}

void IntegersAreKept(const std::string& library)
{
    const Platform platform(library);
    for (const std::string family : kFamilies) {
        for (const int value : {1, 0, -1, INT_MAX, INT_MIN}) {
            Write(platform, family + "number", value);
            RequireStored(platform, family + "number", value);
        }
    }
}

void TextsAreKept(const std::string& library)
{
    const Platform platform(library);
    for (const std::string family : kFamilies) {
        for (const char* const text : {"a text of some length", "short", "", "and again"}) {
            Write(platform, family + "text", text);
            RequireStored(platform, family + "text", text);
        }
    }
}

void AllBytesAreKept(const std::string& library)
{
    const Platform platform(library);
    std::string everything;
    for (int byte = 1; byte <= UCHAR_MAX; ++byte) everything += static_cast<char>(byte);
    for (const std::string family : kFamilies) {
        for (const std::string& text :
             {everything, std::string("%s%n%d"), std::string("\n {\"a\": \"\\u00e9 '\"} \t\n"),
              std::string("S\xc3\xa4ule"), std::string(" spaces ")}) {
            Write(platform, family + "bytes", text);
            RequireStored(platform, family + "bytes", text);
        }
    }
}

void LongTextsAreKept(const std::string& library)
{
    constexpr std::size_t kLength = std::size_t{1} << 20U;
    const Platform platform(library);
    std::string text;
    while (text.size() < kLength) text += std::to_string(text.size()) + " ";
    text.resize(kLength);
    for (const std::string family : kFamilies) {
        Write(platform, family + "long", text);
        RequireStored(platform, family + "long", text);
        Write(platform, family + "long", "");
    }
}

void TextsAreTheCallers(const std::string& library)
{
    const Platform platform(library);
    const std::string key = std::string(kVolatile) + "owned";
    Write(platform, key, "owned");
    for (int round = 0; round < 1000; ++round) {
        const Text first = Read(platform, key);
        const Text second = Read(platform, key);
        Require(first != nullptr && second != nullptr, "vconf_get_str of " + key + " returns null");
        Require(first != second, "two reads return the same memory");
        *first = 'X';
        Require(*second == 'o', "who changes a text that was read changes another one");
    }
    RequireStored(platform, key, "owned");
}

void AbsentIntegersFail(const std::string& library)
{
    const Platform platform(library);
    for (const char* const family : kFamilies) RequireNoInteger(platform, AbsentKey(family), "an absent integer");
}

void AbsentTextsAreNull(const std::string& library)
{
    const Platform platform(library);
    for (const char* const family : kFamilies) {
        Require(Read(platform, AbsentKey(family)) == nullptr, "an absent text is read");
    }
}

void TypesAreDistinct(const std::string& library)
{
    const Platform platform(library);
    for (const std::string family : kFamilies) {
        Write(platform, family + "text", "42");
        RequireNoInteger(platform, family + "text", "a text");
        Write(platform, family + "number", 42);
        Require(Read(platform, family + "number") == nullptr, "an integer is read as a text");
    }
}

}  // namespace

Promises PromisesOfSettings()
{
    constexpr const char* kSection = "Settings";
    return {
        {kSection, "an integer that was written is read", IntegersAreKept},
        {kSection, "a text that was written is read, and replaces a longer one", TextsAreKept},
        {kSection, "a text may hold every byte but zero", AllBytesAreKept},
        {kSection, "a text may have 1 MiB", LongTextsAreKept},
        {kSection, "a text that was read is the caller's, who releases it with free()", TextsAreTheCallers},
        {kSection, "the read of an absent integer fails and leaves the output alone", AbsentIntegersFail},
        {kSection, "the read of an absent text returns null", AbsentTextsAreNull},
        {kSection, "an integer is not read as a text, nor a text as an integer", TypesAreDistinct},
    };
}

}  // namespace conformance
