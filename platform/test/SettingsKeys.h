// SPDX-License-Identifier: Apache-2.0
//
// Where the tests write, and how.
#ifndef SRCWATCH_PLATFORM_TEST_SETTINGSKEYS_H
#define SRCWATCH_PLATFORM_TEST_SETTINGSKEYS_H

#include "Platform.h"
#include "Promise.h"
#include "Trial.h"

#include <cstdlib>
#include <memory>

namespace conformance {

/// Beginnings of the keys: those that outlive power-off, and the others.
constexpr const char* kFamilies[] = {"db/srcwatch-platform-test/", "memory/srcwatch-platform-test/"};
constexpr const char* kVolatile = kFamilies[1];

struct Release {
    void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, Release>;

inline Text Read(const Platform& platform, const std::string& key) { return Text(platform.GetText(key.c_str())); }

inline void Write(const Platform& platform, const std::string& key, const std::string& text)
{
    const int result = platform.SetText(key.c_str(), text.c_str());
    Require(result == 0, "vconf_set_str of " + key + " returns " + std::to_string(result));
}

inline void Write(const Platform& platform, const std::string& key, int value)
{
    const int result = platform.SetInt(key.c_str(), value);
    Require(result == 0, "vconf_set_int of " + key + " returns " + std::to_string(result));
}

/// Throws Broken unless a setting reads as it should.
inline void RequireStored(const Platform& platform, const std::string& key, const std::string& text)
{
    const Text stored = Read(platform, key);
    Require(stored != nullptr, "vconf_get_str of " + key + " returns null");
    Require(stored.get() == text, "another text than the one that was written is read from " + key);
}

inline void RequireStored(const Platform& platform, const std::string& key, int value)
{
    int stored = ~value;
    const int result = platform.GetInt(key.c_str(), &stored);
    Require(result == 0, "vconf_get_int of " + key + " returns " + std::to_string(result));
    Require(stored == value,
            key + " was written as " + std::to_string(value) + " and is read as " + std::to_string(stored));
}

/// The same where others write at the same time: a store that is busy may refuse a call, but not for seconds.
inline void WriteAmongOthers(const Platform& platform, const std::string& key, const std::string& text)
{
    const auto attempt = [&] { return platform.SetText(key.c_str(), text.c_str()) == 0; };
    Require(Eventually(attempt), key + " cannot be written while others write");
}

inline Text ReadAmongOthers(const Platform& platform, const std::string& key)
{
    Text text;
    const auto attempt = [&] {
        text = Read(platform, key);
        return text != nullptr;
    };
    Require(Eventually(attempt), key + " cannot be read while others write");
    return text;
}

}  // namespace conformance

#endif
