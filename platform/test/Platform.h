// SPDX-License-Identifier: Apache-2.0
//
// The functions of a platform's library, under the names and with the types that the library calls.
#ifndef SRCWATCH_PLATFORM_TEST_PLATFORM_H
#define SRCWATCH_PLATFORM_TEST_PLATFORM_H

#include <string>

#include <TVServiceAPI.h>
#include <dlog.h>
#include <system_info.h>
#include <vconf.h>

namespace conformance {

/// TVServiceAPI::CreateSourceControl(EProfile, int, ISourceControl**)
constexpr const char* kCreateSourceControl = "_ZN12TVServiceAPI19CreateSourceControlE8EProfileiPP14ISourceControl";

/// Names of all functions.
constexpr const char* kFunctions[] = {"vconf_get_int",
                                      "vconf_set_int",
                                      "vconf_get_str",
                                      "vconf_set_str",
                                      "__dlog_print",
                                      "system_info_get_value_int",
                                      "system_info_get_custom_bool",
                                      kCreateSourceControl};

/// Loads a library into the process, for good. @return Its handle; throws Broken with the linker's reason.
void* Load(const std::string& library);

/// Returns a function of a loaded library or of those that it needs; null if there is none.
void* Find(void* handle, const char* name);

class Platform {
public:
    /// Loads the library; functions that it lacks are Broken when they are called.
    explicit Platform(const std::string& library) : m_handle(Load(library)) {}

    int GetInt(const char* key, int* value) const { return Get<decltype(&vconf_get_int)>("vconf_get_int")(key, value); }
    int SetInt(const char* key, int value) const { return Get<decltype(&vconf_set_int)>("vconf_set_int")(key, value); }
    char* GetText(const char* key) const { return Get<decltype(&vconf_get_str)>("vconf_get_str")(key); }
    int SetText(const char* key, const char* text) const
    {
        return Get<decltype(&vconf_set_str)>("vconf_set_str")(key, text);
    }
    template <typename... Arguments>
    void Log(const char* format, Arguments... arguments) const
    {
        for (const int priority : {3, 6}) {  // the ones that the library logs with; no caller depends on the result
            static_cast<void>(
                Get<decltype(&__dlog_print)>("__dlog_print")(0, priority, "qdinfo", format, arguments...));
        }
    }
    int GetInputs(int* count) const
    {
        return Get<decltype(&system_info_get_value_int)>("system_info_get_value_int")(SYSTEM_INFO_KEY_NUM_OF_HDMI,
                                                                                      count);
    }
    int GetSwitch(const char* key, bool* value) const
    {
        return Get<decltype(&system_info_get_custom_bool)>("system_info_get_custom_bool")(key, value);
    }
    int CreateSourceControl(ISourceControl** control) const
    {
        return Get<int (*)(EProfile, int, ISourceControl**)>(kCreateSourceControl)(static_cast<EProfile>(1), 0,
                                                                                   control);
    }

private:
    template <typename Function>
    Function Get(const char* name) const
    {
        return reinterpret_cast<Function>(Demand(name));
    }
    void* Demand(const char* name) const;

    void* m_handle;
};

}  // namespace conformance

#endif
