// SPDX-License-Identifier: Apache-2.0
//
// Shared by every source file of the library and of the detection service: the names of the settings keys, the number
// of HDMI inputs, the log macro and the singleton template.
#ifndef SRCWATCH_QDINFOCOMMON_H
#define SRCWATCH_QDINFOCOMMON_H

#include "QDInfoNames.h"
#include "srcwatch-api.h"

#include <cstdint>
#include <mutex>
#include <new>
#include <string>

#include <dlog.h>
#include <sys/time.h>

// Deliberate: each source file has its own copies of the count and of the constants, made when the library is loaded.
// The count comes first, so get_hdmi_count() and everything that it calls must not use the constants below.

/// Number of HDMI inputs, -1 when unknown.
const int HDMI_PORT_COUNT = get_hdmi_count();

/// Port index of the optical source, whose record is kept apart from those of the HDMI ports.
const int OPTICAL_PORT = 99;

/// @name Settings keys: "db/..." are durable, "memory/..." are volatile
/// @{
const std::string VCONF_SOURCE_ACTIVITY = qdinfo::kSourceActivityKey;
const std::string VCONF_OPTICAL_SOURCE_ACTIVITY = qdinfo::kOpticalActivityKey;
const std::string VCONF_SOURCE_ACTIVITY_CHANGED = "memory/srcwatch-service/source-activity-chagned";  // sic
const std::string VCONF_SOURCE_ACTIVITY_INDEX = qdinfo::kActivityIndexKey;
const std::string VCONF_PORT_CHANGE_FLAG_1 = "db/srcwatch-service/port1_change_flag";
const std::string VCONF_PORT_CHANGE_FLAG_2 = "db/srcwatch-service/port2_change_flag";
const std::string VCONF_PORT_CHANGE_FLAG_3 = "db/srcwatch-service/port3_change_flag";
const std::string VCONF_PORT_CHANGE_FLAG_4 = "db/srcwatch-service/port4_change_flag";
const std::string VCONF_PORT_CHANGE_FLAG_5 = "db/srcwatch-service/port5_change_flag";
const std::string VCONF_PORT_CHANGE_FLAG_6 = "db/srcwatch-service/port6_change_flag";
const std::string VCONF_PORT_CHANGE_FLAG_7 = "db/srcwatch-service/port7_change_flag";
const std::string VCONF_PORT_CHANGE_FLAG_8 = "db/srcwatch-service/port8_change_flag";
const std::string VCONF_PROVIDER_DATA = "memory/srcwatch-service/provider_data";
const std::string VCONF_AUTO_DETECTION_COMPLETE = "memory/srcwatch-service/auto_detection_complete";
const std::string VCONF_SCAN_PROGRESS = qdinfo::kScanProgressKey;
const std::string VCONF_SCAN_RESULT = qdinfo::kScanResultKey;
const std::string VCONF_WIZARD_MODE = "memory/wizard/wizard_mode";
const std::string VCONF_MVPD_AUTO_DETECT_SUPPORT = qdinfo::kMvpdSupportKey;
const std::string VCONF_HP_AUTO_DETECT_SUPPORT = qdinfo::kHotplugSupportKey;
const std::string VCONF_HOTPLUG_PROGRESS = qdinfo::kHotplugProgressKey;
const std::string VCONF_TWC_SEQ_ID = qdinfo::kTwcSequenceKey;
const std::string VCONF_TWC_FRAME_COUNT = qdinfo::kTwcFrameCountKey;
const std::string VCONF_TWC_STATUS_INTERNAL = qdinfo::kTwcStatusKey;
const std::string VCONF_SPD_UNIQUE_DATA_2 = "memory/srcwatch-service/spd_unique_data_2";
const std::string VCONF_SPD_UNIQUE_DATA_3 = "memory/srcwatch-service/spd_unique_data_3";
const std::string VCONF_SPD_AKSV_1 = qdinfo::kStatisticsKey;
const std::string VCONF_PORT_DEVICE_INFO = "db/srcwatch-service/port_device_info";
/// @}

/// @name Files of the detection service
/// @{
const std::string STB_TOP_MANUFACTURER_PROFILE_PATH = "/usr/share/mirelda/data/QDInfoSTBTopManufacturerProfile.dat";
const std::string CMD_CONF_PATH = "/usr/share/mirelda/cmd.conf";
/// @}

/// @name The event channel
/// @{
const std::string QDINFO_BUS_NAME = qdinfo::kChannelName;
const std::string QDINFO_CHANNEL_NAME = qdinfo::kChannelName;
const std::string QDINFO_TAG = "QDINFO";
const std::string QDINFO_FIELD_SEPARATOR = qdinfo::kFieldSeparator;
const std::string QDINFO_EMPTY_FIELD = qdinfo::kEmptyField;
const std::string QDINFO_SERVICE_NAME = "org.nalto.srcwatch-service.service";
/// @}

namespace qdinfo {
namespace detail {

/// Returns the part of a path after its last '/'.
constexpr const char* BaseName(const char* path)
{
    const char* name = path;
    for (const char* c = path; *c != '\0'; ++c) {
        if (*c == '/') name = c + 1;
    }
    return name;
}

/// Returns the milliseconds of the wall clock, deliberately in 32 bits: the value wraps around.
inline long LogStamp()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    const auto seconds = static_cast<std::uint32_t>(now.tv_sec);
    return static_cast<std::int32_t>(seconds * 1000U + static_cast<std::uint32_t>(now.tv_usec / 1000));
}

}  // namespace detail
}  // namespace qdinfo

/// Priorities of the library's log lines, as the platform log numbers them.
enum QDLogPriority { QDLOG_DEBUG = 3, QDLOG_ERROR = 6 };

/// The beginning of each line: file, function, line number and time.
#define QDLOG_PREFIX "%s: %s(%d) > <%ld> "

/// The text at the head of a list, and what follows it, at most 15 arguments, with a comma before each. Until C++20, a
/// macro that takes the text and "..." needs an argument for the latter.
#define QDLOG_TEXT(...) QDLOG_FIRST(__VA_ARGS__, )
#define QDLOG_FIRST(text, ...) text
#define QDLOG_REST(...)                                                                                         \
    QDLOG_17TH(__VA_ARGS__, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, \
               QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE, QDLOG_MORE,  \
               QDLOG_NONE, )                                                                                    \
    (__VA_ARGS__)
#define QDLOG_17TH(a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, chosen, ...) chosen
#define QDLOG_MORE(text, ...) , __VA_ARGS__
#define QDLOG_NONE(text)

/// Logs a line for a file, a function and a line number.
#define QDLOG_LINE(file, function, line, priority, ...)                                                                \
    static_cast<void>(__dlog_print(0, (priority), "qdinfo", QDLOG_PREFIX QDLOG_TEXT(__VA_ARGS__) "\n", file, function, \
                                   line, qdinfo::detail::LogStamp() QDLOG_REST(__VA_ARGS__)))

/// QDLOG(priority, text, ...) logs a line to the platform log, with the place of the call and the time before it. The
/// text is a literal, which the compiler checks the arguments against.
#define QDLOG(...) QDLOG_LINE(qdinfo::detail::BaseName(__FILE__), __func__, __LINE__, __VA_ARGS__)

namespace qdinfo {

/// Base class of a T that has one instance in a process, created at first use: T derives from CSingleton<T>.
template <typename T>
class SRCWATCH_API CSingleton {
public:
    virtual ~CSingleton() {}

    /// Returns the instance, which is created if there is none; null without memory for it. Callable from any thread.
    static T* GetInstance()
    {
        std::lock_guard<std::mutex> lock(t_mtx);
        if (m_pInstance == nullptr) {
            QDLOG(QDLOG_ERROR, "new......\n");
            m_pInstance = new (std::nothrow) T;
            if (m_pInstance == nullptr) {
                QDLOG(QDLOG_ERROR, "Assertion failed");
                return nullptr;
            }
        }
        return static_cast<T*>(m_pInstance);
    }

    /// Destroys the instance, if there is one. Pointers to it are invalid from then on.
    static void DestroyInstance()
    {
        std::lock_guard<std::mutex> lock(t_mtx);
        if (m_pInstance == nullptr) return;
        QDLOG(QDLOG_ERROR, " DestroyInstance() \n");
        delete m_pInstance;
        m_pInstance = nullptr;
    }

private:
    static CSingleton<T>* m_pInstance;
    static std::mutex t_mtx;  // guards m_pInstance, never the use of the instance
};

template <typename T>
CSingleton<T>* CSingleton<T>::m_pInstance = nullptr;

template <typename T>
std::mutex CSingleton<T>::t_mtx;

}  // namespace qdinfo

#endif
