// SPDX-License-Identifier: Apache-2.0
//
// The exported C functions. Each is a signature and what is its own; what they share stands once, in front of them.
// All log at ERROR, routine lines included, so that they can be seen on a TV as shipped.
#include "QDInfoCommon.h"
#include "QDInfoEventManager.h"
#include "srcwatch-api.h"

#include <algorithm>

#include <TVServiceAPI.h>
#include <system_info.h>
#include <vconf.h>

int get_hdmi_count(void)
{
    // Runs while the library is loaded, before any string constant exists.
    int count = 0;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count) != 0) {
        QDLOG(DLOG_ERROR, "System Info get fails (SYSTEM_INFO_KEY_NUM_OF_HDMI)");
    } else if (count > 0) {
        return count;
    }
    QDLOG(DLOG_ERROR, "HDMI count < 0");  // Deliberate: also for 0.
    return -1;
}

// ---------------------------------------------------------------------------------------------------------------------
// Scan control and progress

namespace {

enum ScanCommand {
    SCAN_COMMAND_OOBE_START = 2001,
    SCAN_COMMAND_OOBE_STOP = 2002,
    SCAN_COMMAND_OOBE_RESUME = 2003,
    SCAN_COMMAND_TWC_CHECK_START = 2010,  // + port
    SCAN_COMMAND_TWC_CHECK_END = 2020,    // + port
    SCAN_COMMAND_MBR_DOWNLOAD_FINISHED = 3001,
    SCAN_COMMAND_OPTICAL_START = 5001,
    SCAN_COMMAND_OPTICAL_STOP = 5002,
};

int g_nOpticalScanState = 0;
int g_nRunningScanType = 0;

// Deliberate: unchecked, as all settings writes here. A command is fire-and-forget.
void WriteInt(const std::string& key, int value) { vconf_set_int(key.c_str(), value); }

void CommandScan(int command) { WriteInt(VCONF_SCAN_PROGRESS, command); }

}  // namespace

void srcwatch_oobe_scan_start(void)
{
    QDLOG(DLOG_ERROR, "Srcwatch OOBE Scan Start API called\n");
    CommandScan(SCAN_COMMAND_OOBE_START);
}

void srcwatch_oobe_scan_stop(void)
{
    QDLOG(DLOG_ERROR, "Srcwatch OOBE Scan Stop API called\n");
    CommandScan(SCAN_COMMAND_OOBE_STOP);
}

void srcwatch_oobe_scan_resume(void)
{
    QDLOG(DLOG_ERROR, "Srcwatch OOBE Scan Resume API called\n");
    CommandScan(SCAN_COMMAND_OOBE_RESUME);
}

void srcwatch_optical_scan_start(void)
{
    QDLOG(DLOG_ERROR, "Srcwatch OPTICAL Scan Start API called\n");
    CommandScan(SCAN_COMMAND_OPTICAL_START);
}

void srcwatch_optical_scan_stop(void)
{
    QDLOG(DLOG_ERROR, "Srcwatch OPTICAL Scan Stop API called\n");
    CommandScan(SCAN_COMMAND_OPTICAL_STOP);
}

void srcwatch_set_MBR_download_finished(void)
{
    QDLOG(DLOG_ERROR, "API: Srcwatch Set MBR Download Finished Called\n");
    CommandScan(SCAN_COMMAND_MBR_DOWNLOAD_FINISHED);
}

void srcwatch_set_optical_scan_state(int state)
{
    QDLOG(DLOG_ERROR, "Set Optical state: %d\n", state);
    g_nOpticalScanState = state;
}

int srcwatch_is_optical_scan(bool* result)
{
    const bool scanning = g_nOpticalScanState != 0;
    if (result != nullptr) *result = scanning;
    QDLOG(DLOG_ERROR, "Optical result: %d\n", scanning);
    return 0;
}

void srcwatch_set_running_scan_type(int type)
{
    g_nRunningScanType = type;
    QDLOG(DLOG_ERROR, "Set Scan type : %d\n", g_nRunningScanType);
}

int srcwatch_get_running_scan_type(int* type)
{
    const int running = g_nRunningScanType;
    if (type != nullptr) *type = running;
    QDLOG(DLOG_ERROR, "Scan type result: %d\n", running);
    return 0;
}

int srcwatch_get_oobe_stb_scan_progress(int* progress)
{
    constexpr int kRunning = 100;  // the service adds this to the percentage of a running scan
    constexpr int kLastPercent = 90;

    int state = 0;
    if (vconf_get_int(VCONF_SCAN_RESULT.c_str(), &state) != 0) {
        QDLOG(DLOG_ERROR, "Vconf get fail: %s\n", VCONF_SCAN_RESULT.c_str());
        return SRCWATCH_PROGRESS_UNREADABLE;
    }

    int percent = 0;
    int result = state;
    if (state >= kRunning && state <= kRunning + kLastPercent) {
        percent = state - kRunning;
        result = 0;
    } else if (state > 0 && state <= HDMI_PORT_COUNT) {
        percent = kLastPercent;
    } else if (state >= -3 && state < 0) {
        return state;
    } else if (state != 0) {
        QDLOG(DLOG_ERROR, "Undefined progress value: %d\n", state);
        return SRCWATCH_PROGRESS_UNDEFINED;
    }
    if (progress != nullptr) *progress = percent;
    return result;
}

// ---------------------------------------------------------------------------------------------------------------------
// Features and states of the TV

namespace {

using qdinfo::CallSite;

// Source identifiers of HDMI 1 to HDMI 8 in the TV service.
constexpr int HDMI_SOURCE_IDS[] = {13, 14, 15, 16, 38, 39, 46, 47};
constexpr int kSourceIds = sizeof(HDMI_SOURCE_IDS) / sizeof(HDMI_SOURCE_IDS[0]);

constexpr int kTwcPorts = 8;
constexpr int kTwcStatusUnknown = -1;
constexpr int kTwcFrameCount = 3;

// Reads a switch into value; false, after a log line, when it cannot be read. Only 1 is on.
bool ReadSwitch(const std::string& key, bool& on, CallSite site = CallSite::Here())
{
    int value = 0;
    if (vconf_get_int(key.c_str(), &value) != 0) {
        QDLOG_AT(site, DLOG_ERROR, "Localset vconf read error\n");
        return false;
    }
    on = value == 1;
    return true;
}

// Value of a feature switch. It counts as on only when its read succeeded.
struct Feature {
    bool value = false;
    bool on = false;
};

Feature ReadFeature(const char* name)
{
    Feature feature;
    const bool read = system_info_get_custom_bool(name, &feature.value) == 0;
    feature.on = read && feature.value;
    return feature;
}

ISourceControl* GetSourceControl(CallSite site = CallSite::Here())
{
    ISourceControl* control = nullptr;
    if (TVServiceAPI::CreateSourceControl(PROFILE_TYPE_MAIN, 0, &control) != 0 || control == nullptr) {
        QDLOG_AT(site, DLOG_ERROR, "Create Source Control failed!!\n");
        return nullptr;
    }
    return control;
}

// Writes the command of a TWC port, or logs that there is no such port.
void CommandTwc(int command, int port, CallSite site = CallSite::Here())
{
    if (port < 0 || port >= kTwcPorts) {
        QDLOG_AT(site, DLOG_ERROR, "Unknown port index %d\n", port);
        return;
    }
    CommandScan(command + port);
}

}  // namespace

bool srcwatch_is_HotPlug_progress(void)
{
    bool on = false;
    if (!ReadSwitch(VCONF_HOTPLUG_PROGRESS, on)) return false;
    if (on) {
        QDLOG(DLOG_ERROR, "HotPlug is in Progress\n");
    } else {
        QDLOG(DLOG_ERROR, "HotPlug is NOT Progress\n");
    }
    return on;
}

bool srcwatch_is_HotPlug_enable(void)
{
    bool on = false;
    if (!ReadSwitch(VCONF_HP_AUTO_DETECT_SUPPORT, on)) return false;
    if (on) {
        QDLOG(DLOG_ERROR, "HotPlug Enabled\n");
    } else {
        QDLOG(DLOG_ERROR, "HotPlug Disabled\n");
    }
    return on;
}

bool srcwatch_is_MVPD_enable(void)
{
    bool on = false;
    if (!ReadSwitch(VCONF_MVPD_AUTO_DETECT_SUPPORT, on)) return false;
    if (on) {
        QDLOG(DLOG_ERROR, "MVPD Enabled\n");
    } else {
        QDLOG(DLOG_ERROR, "MVPD Disabled\n");
    }
    return on;
}

bool srcwatch_Is_hdmi_notification_running(void)
{
    int index = 0;
    static_cast<void>(vconf_get_int(VCONF_SOURCE_ACTIVITY_INDEX.c_str(), &index));  // Deliberate: failure reads as 0.
    return index != 0;
}

bool srcwatch_is_no_device(void)
{
    QDLOG(DLOG_ERROR, "srcwatch_is_no_device!!!\n");

    const Feature calvix = ReadFeature("com.korvane/featureconf/bt_profile_bt_calvix");
    const Feature ir = ReadFeature("com.korvane/featureconf/cx_core_ir_tavrin");
    if (!calvix.on && !ir.on) {
        QDLOG(DLOG_ERROR, "TV Model does NOT Support Calvix (%d) or IR MBR (%d)\n", calvix.value, ir.value);
        return true;
    }
    QDLOG(DLOG_ERROR, "TV Model Supports Calvix (%d) or IR MBR (%d)\n", calvix.value, ir.value);

    if (!srcwatch_is_MVPD_enable() && !srcwatch_is_HotPlug_progress()) {
        QDLOG(DLOG_ERROR, "MVPD Option is OFF and HotPlug is NOT Progress!!\n");
        return true;
    }

    ISourceControl* control = GetSourceControl();  // Deliberate: not released, it is the TV service's own.
    bool connected = false;                        // Deliberate: never reset, and looked at also after a failed query.
    for (int i = 0; i < std::min(HDMI_PORT_COUNT, kSourceIds); ++i) {
        if (control != nullptr && control->IsExternalSourceConnected(HDMI_SOURCE_IDS[i], &connected) < 1) {
            QDLOG(DLOG_ERROR, "Get Ext Source Info Fail\n");
        }
        if (connected) {
            QDLOG(DLOG_ERROR, "HDMI(%d) is connected!!\n", i + 1);
            return false;
        }
    }
    QDLOG(DLOG_ERROR, "There is no connected HDMI Cable!!\n");
    return true;
}

int srcwatch_is_TWC(void)
{
    int status = kTwcStatusUnknown;
    static_cast<void>(vconf_get_int(VCONF_TWC_STATUS_INTERNAL.c_str(), &status));  // Deliberate: failure reads as -1.
    QDLOG(DLOG_ERROR, "srcwatch_is_TWC return %d\n", status);
    return status;
}

void srcwatch_TWC_check_start(int port)
{
    QDLOG(DLOG_ERROR, "Srcwatch TWC Check Start API called %d\n", port);
    WriteInt(VCONF_TWC_STATUS_INTERNAL, kTwcStatusUnknown);
    CommandTwc(SCAN_COMMAND_TWC_CHECK_START, port);
    QDLOG(DLOG_ERROR, "srcwatch_TWC_check_start end %d\n", port);
}

void srcwatch_TWC_check_end(int port)
{
    QDLOG(DLOG_ERROR, "Srcwatch TWC Check End API called\n");
    CommandTwc(SCAN_COMMAND_TWC_CHECK_END, port);
    WriteInt(VCONF_TWC_SEQ_ID, -1);
    WriteInt(VCONF_TWC_FRAME_COUNT, kTwcFrameCount);
    WriteInt(VCONF_TWC_STATUS_INTERNAL, kTwcStatusUnknown);
    QDLOG(DLOG_ERROR, "Srcwatch TWC Check End API End\n");
}

void srcwatch_TWC_is_channeltuned(int twc_seq_id, int twc_frame_count)
{
    WriteInt(VCONF_TWC_SEQ_ID, twc_seq_id);
    WriteInt(VCONF_TWC_FRAME_COUNT, twc_frame_count);
    QDLOG(DLOG_ERROR, "(twc_seq_id , twc_frame_count) = (%d, %d)\n", twc_seq_id, twc_frame_count);
}

// ---------------------------------------------------------------------------------------------------------------------
// Events

namespace {

qdinfo::CQDEventReciever* g_pReceiver = nullptr;  // the process's one client-side receiver

}  // namespace

int srcwatch_register_event_callback(srcwatch_event_cb callback, void* user_data)
{
    if (callback == nullptr) {
        QDLOG(DLOG_ERROR, "[srcwatch_register_event_callback] input function address is NULL");
        return 0;
    }
    if (g_pReceiver != nullptr) {
        QDLOG(DLOG_ERROR, "[srcwatch_register_event_callback] already registered");
        return 0;
    }
    auto* receiver = new (std::nothrow) qdinfo::CQDEventReciever(QDINFO_CHANNEL_NAME, false);
    if (receiver == nullptr) {
        QDLOG(DLOG_ERROR, "new error");
        return 0;
    }
    g_pReceiver = receiver;
    for (const int type : {SRCWATCH_EVENT_DETECTED, SRCWATCH_EVENT_SCAN_PROGRESS, SRCWATCH_EVENT_SCAN_FINISHED,
                           SRCWATCH_EVENT_CONNECTION}) {
        receiver->RegisterEventCallback(type, callback, user_data);
    }
    return 1;
}

int srcwatch_unregister_event_callback(srcwatch_event_cb callback)
{
    // Deliberate: the messages name the register function.
    if (callback == nullptr) {
        QDLOG(DLOG_ERROR, "[srcwatch_register_event_callback] input function address is NULL");
        return 0;
    }
    if (g_pReceiver == nullptr) {
        QDLOG(DLOG_ERROR, "[srcwatch_register_event_callback] not registered");
        return 0;
    }
    qdinfo::CQDEventReciever* receiver = g_pReceiver;
    g_pReceiver = nullptr;
    receiver->UnregisterEventCallback(-1);
    qdinfo::CQDEventReciever::Dispose(receiver);
    return 1;
}
