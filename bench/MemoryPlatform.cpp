// SPDX-License-Identifier: Apache-2.0
#include "MemoryPlatform.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <string_view>

#include <TVServiceAPI.h>
#include <dlfcn.h>
#include <dlog.h>
#include <system_info.h>
#include <vconf.h>

// The library finds these before the host platform's, so they must be visible to it.
#define PLATFORM_FUNCTION __attribute__((visibility("default")))

namespace bench {
namespace {

struct Memory {
    std::map<std::string, std::string, std::less<>> texts;
    std::map<std::string, int, std::less<>> numbers;
    std::int64_t reads = 0;
};

Memory& TheMemory()
{
    static Memory& memory = *new Memory;
    return memory;
}

template <typename Function>
Function* HostFunction(const char* name)
{
    void* function = dlsym(RTLD_NEXT, name);
    if (function == nullptr) std::abort();  // this program is not linked with the host platform
    return reinterpret_cast<Function*>(function);
}

struct HostFunctions {
    decltype(vconf_get_int)* getInt = HostFunction<decltype(vconf_get_int)>("vconf_get_int");
    decltype(vconf_set_int)* setInt = HostFunction<decltype(vconf_set_int)>("vconf_set_int");
    decltype(vconf_get_str)* getText = HostFunction<decltype(vconf_get_str)>("vconf_get_str");
    decltype(vconf_set_str)* setText = HostFunction<decltype(vconf_set_str)>("vconf_set_str");
};

const HostFunctions* g_host = nullptr;

}  // namespace

void UseHostPlatform(bool on)
{
    static const HostFunctions functions;
    g_host = on ? &functions : nullptr;
}

void SetText(const std::string& key, std::string text) { TheMemory().texts[key] = std::move(text); }

const std::string& Text(const std::string& key) { return TheMemory().texts.at(key); }

std::int64_t MemoryReads() { return TheMemory().reads; }

}  // namespace bench

using bench::g_host;
using bench::TheMemory;

PLATFORM_FUNCTION int __dlog_print(int, int, const char*, const char*, ...) { return 0; }

PLATFORM_FUNCTION int vconf_get_int(const char* key, int* value)
{
    if (g_host != nullptr) return g_host->getInt(key, value);
    const auto& numbers = TheMemory().numbers;
    const auto found = numbers.find(std::string_view(key));
    if (found == numbers.end()) return -1;
    *value = found->second;
    return 0;
}

PLATFORM_FUNCTION int vconf_set_int(const char* key, int value)
{
    if (g_host != nullptr) return g_host->setInt(key, value);
    TheMemory().numbers[key] = value;
    return 0;
}

PLATFORM_FUNCTION char* vconf_get_str(const char* key)
{
    if (g_host != nullptr) return g_host->getText(key);
    bench::Memory& memory = TheMemory();
    ++memory.reads;
    const auto found = memory.texts.find(std::string_view(key));
    return found == memory.texts.end() ? nullptr : strdup(found->second.c_str());
}

PLATFORM_FUNCTION int vconf_set_str(const char* key, const char* value)
{
    if (g_host != nullptr) return g_host->setText(key, value);
    auto& texts = TheMemory().texts;
    const auto found = texts.find(std::string_view(key));
    if (found == texts.end()) {
        texts.emplace(key, value);
    } else {
        found->second = value;
    }
    return 0;
}

PLATFORM_FUNCTION int system_info_get_value_int(system_info_key_e, int* value)
{
    *value = 8;
    return 0;
}

PLATFORM_FUNCTION int system_info_get_custom_bool(const char*, bool*) { return -1; }

PLATFORM_FUNCTION int TVServiceAPI::CreateSourceControl(EProfile, int, ISourceControl**) { return -1; }
