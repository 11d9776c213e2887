// SPDX-License-Identifier: Apache-2.0
//
// The exported C functions. What several of them share stands once, in front of them. All log at ERROR, routine lines
// included, so that the lines are visible on a TV as shipped.
#include "LineFormat.h"
#include "QDInfoAPI.h"
#include "QDInfoCommon.h"
#include "QDInfoEventManager.h"
#include "QDInfoServerData.h"
#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <iterator>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include <TVServiceAPI.h>
#include <json/json.h>
#include <system_info.h>
#include <vconf.h>

int get_hdmi_count(void)
{
    // Runs while the library is loaded, before any string constant exists.
    int count = 0;
    if (system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count) != 0) {
        QDLOG(QDLOG_ERROR, "System Info get fails (SYSTEM_INFO_KEY_NUM_OF_HDMI)");
    } else if (count > 0) {
        return count;
    }
    QDLOG(QDLOG_ERROR, "HDMI count < 0");  // Deliberate: also for 0.
    return -1;
}

// ---------------------------------------------------------------------------------------------------------------------
// The patterns of the queries about a port

namespace {

using qdinfo::CallSite;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoData;
using qdinfo::CQDInfoServerData;
using qdinfo::CSingleton;
using qdinfo::LineFormat;

constexpr char kUnknown[] = "Unknown";
constexpr char kGenericSetTopBox[] = "STB";  // begins the provider name of a set-top box that was not identified

bool IsPort(int port) { return port == OPTICAL_PORT || (port >= 0 && port <= 7); }

// Reads the stored record of a port; it stays null when there is none, or no memory for the store.
void LoadRecord(int port, Json::Value& record)
{
    CQDInfoData* store = CSingleton<CQDInfoServerData>::GetInstance();
    if (store == nullptr) return;
    const bool isOptical = port == OPTICAL_PORT;
    static_cast<void>(isOptical ? store->t_LoadOpticalPortJsonInfoToMemory(port, record)
                                : store->t_LoadPortJsonInfoToMemory(port, record));
}

std::string TextOf(Json::Value& record, const char* key) { return record[key].asString(); }

int NumberOf(Json::Value& record, const char* key) { return record[key].asInt(); }

// Copies text as strncpy does, on purpose: always count bytes, zeros after the text, no terminator when it fills them.
void CopyText(char* dst, const std::string& text, std::size_t count = SRCWATCH_TEXT_SIZE)
{
    const std::size_t length = strnlen(text.c_str(), count);
    std::memcpy(dst, text.c_str(), length);
    std::memset(dst + length, 0, count - length);
}

// Deliberate: an output that is not tested for null before the store is asked is only left out.
template <typename T>
void Set(T* output, T value)
{
    if (output != nullptr) *output = value;
}

bool BeginsWith(const char* text, const char* prefix) { return std::strncmp(text, prefix, std::strlen(prefix)) == 0; }

using ExceptionFormat = LineFormat<const char*>;

// The line for an exception of JSON. Deliberate: some lines name another function than that of their place.
#define EXCEPTION_IN(function) QDLOG_FORMAT("Exception Handled by " function ": %s\n", "")

// Runs body, which returns the result of a query; an exception of JSON is logged, and is the result.
template <typename Body>
int CatchJson(ExceptionFormat exceptionFormat, const CallSite& site, Body body)
{
    try {
        return body();
    } catch (const Json::Exception& e) {
        LogLine(site, QDLOG_ERROR, exceptionFormat, e.what());
        return SRCWATCH_ERROR_JSON;
    }
}

// Runs body, which returns nothing, on the stored record of a port; QueryOutput() for a query with an output.
template <typename Body>
int QueryRecord(int port, ExceptionFormat exceptionFormat, Body body, CallSite site = CallSite::Here())
{
    return CatchJson(exceptionFormat, site, [&] {
        Json::Value record;
        LoadRecord(port, record);
        body(record);
        return SRCWATCH_OK;
    });
}

template <typename Body>
int QueryOutput(const void* output, int port, ExceptionFormat exceptionFormat, const CallSite& site, Body body)
{
    if (!IsPort(port)) return SRCWATCH_ERROR_PORT;
    if (output == nullptr) return SRCWATCH_ERROR_NULL;
    return QueryRecord(port, exceptionFormat, body, site);
}

int QueryText(char* dst, int port, const char* key, ExceptionFormat format, CallSite site = CallSite::Here())
{
    return QueryOutput(dst, port, format, site, [&](Json::Value& record) { CopyText(dst, TextOf(record, key)); });
}

int QueryNumber(int* number, int port, const char* key, ExceptionFormat format, CallSite site = CallSite::Here())
{
    return QueryOutput(number, port, format, site, [&](Json::Value& record) { *number = NumberOf(record, key); });
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// One field of a port's record

int srcwatch_get_cec_name(char* dst, int port)
{
    return QueryText(dst, port, "CECName", EXCEPTION_IN("srcwatch_get_cec_name"));
}

int srcwatch_get_model_name(char* dst, int port)
{
    return QueryText(dst, port, "ModelName", EXCEPTION_IN("srcwatch_get_model_name"));
}

int srcwatch_get_manufacturer_name(char* dst, int port)
{
    return QueryText(dst, port, "MFName", EXCEPTION_IN("srcwatch_get_manufacturer_name"));
}

int srcwatch_get_codeset_name(char* dst, int port)
{
    return QueryText(dst, port, "CName", EXCEPTION_IN("srcwatch_get_codeset_name"));
}

int srcwatch_get_logo_mso_name(char* dst, int port)
{
    return QueryText(dst, port, "PRName", EXCEPTION_IN("srcwatch_get_infoframe_model_name"));  // sic
}

int srcwatch_get_cec_device_name(char* dst, int port)
{
    return QueryText(dst, port, "CDevName", EXCEPTION_IN("srcwatch_get_cec_device_name"));
}

int srcwatch_get_aksv_info(char* dst, int port)
{
    return QueryText(dst, port, "AKSV", EXCEPTION_IN("srcwatch_get_codeset_name"));  // sic
}

int srcwatch_get_product_type_name(int port, int* device_type)
{
    return QueryNumber(device_type, port, "DevType", EXCEPTION_IN("srcwatch_get_product_type_name"));
}

int srcwatch_get_denycount(int* deny_count, int port)
{
    return QueryNumber(deny_count, port, "DenyCount", EXCEPTION_IN("srcwatch_get_codeset_name"));  // sic
}

int srcwatch_get_detection_moethod(int port, int* method)
{
    return QueryNumber(method, port, "DMethod", EXCEPTION_IN("srcwatch_get_cec_device_name"));  // sic
}

int srcwatch_get_current_aksv_info(void) { return -1; }

// ---------------------------------------------------------------------------------------------------------------------
// What to show for a device

namespace {

// One call of srcwatch_get_device_info: what the functions below compose the two strings from, and where to.
struct DeviceInfo {
    Json::Value& record;
    int port;
    char* str1;
    char* str2;
    CallSite site;
};

std::string CopyMember(Json::Value& record, const char* key, char* dst)
{
    std::string text = TextOf(record, key);
    CopyText(dst, text);
    return text;
}

void SendProvider(const DeviceInfo& info)
{
    std::string provider = TextOf(info.record, "PRName");
    if (BeginsWith(provider.c_str(), kGenericSetTopBox)) {
        CopyText(info.str1, kUnknown);
        QDLOG_AT(info.site, QDLOG_ERROR, "Device Info Send STB(%d) : %s to %s\n", info.port, provider.c_str(),
                 kUnknown);
        return;
    }
    CopyText(info.str1, provider);
    provider.resize(std::min<std::size_t>(provider.size(), SRCWATCH_TEXT_SIZE));  // logged as written
    QDLOG_AT(info.site, QDLOG_ERROR, "Device Info Send STB(%d) : %s\n", info.port, provider.c_str());
}

void SendDetection(const DeviceInfo& info, LineFormat<int, const char*> format)
{
    const std::string detection = CopyMember(info.record, "UnknownType", info.str2);
    LogLine(info.site, QDLOG_ERROR, format, info.port, detection.c_str());
}

void SendNames(const DeviceInfo& info, LineFormat<int, const char*, const char*> format)
{
    const std::string device = TextOf(info.record, "DevName");
    const std::string brand = TextOf(info.record, "BName");
    CopyText(info.str1, device);
    CopyText(info.str2, brand);
    LogLine(info.site, QDLOG_ERROR, format, info.port, device.c_str(), brand.c_str());
}

void SendOther(const DeviceInfo& info)
{
    const std::string device = CopyMember(info.record, "DevName", info.str1);
    QDLOG_AT(info.site, QDLOG_ERROR, "Device Info Send OTHER(%d): %s\n", info.port, device.c_str());
    SendDetection(info, QDLOG_FORMAT("Detection Info Send for OTHER Device(%d): %s\n", 0, ""));
}

void SendNotSupported(const DeviceInfo& info)
{
    *info.str1 = '\0';  // Deliberate: only the first byte.
    QDLOG_AT(info.site, QDLOG_ERROR, "Device Info Send NOT SUPPORT(%d): %s\n", info.port, "");
    SendDetection(info, QDLOG_FORMAT("Detection Info Send for NOT_SUPPORT Device(%d): %s\n", 0, ""));
}

void SendPc(const DeviceInfo& info)
{
    const std::string device = CopyMember(info.record, "DevName", info.str1);
    QDLOG_AT(info.site, QDLOG_ERROR, "Device Info Send PC(%d): %s\n", info.port, device.c_str());
    const std::string brand = CopyMember(info.record, "BName", info.str2);
    QDLOG_AT(info.site, QDLOG_ERROR, "Brand Info Send PC(%d): %s\n", info.port, brand.c_str());
}

void SendDeviceInfo(const DeviceInfo& info, int type)
{
    switch (type) {
        case SRCWATCH_DEVICE_SET_TOP_BOX:
            SendProvider(info);
            return SendDetection(info, QDLOG_FORMAT("Detection Info Send for STB Device(%d): %s\n", 0, ""));
        case SRCWATCH_DEVICE_DISC_PLAYER:
        case SRCWATCH_DEVICE_HOME_THEATRE:
            return SendNames(info, QDLOG_FORMAT("Device Info Send BD HTS(%d): %s %s\n", 0, "", ""));
        case SRCWATCH_DEVICE_STREAMING_BOX:
        case SRCWATCH_DEVICE_GAME_CONSOLE:
            return SendNames(info, QDLOG_FORMAT("Device Info Send OTT GAME(%d): %s %s\n", 0, "", ""));
        case SRCWATCH_DEVICE_OTHER:
            return SendOther(info);
        case SRCWATCH_DEVICE_NOT_SUPPORTED:
            return SendNotSupported(info);
        case SRCWATCH_DEVICE_PC:
            return SendPc(info);
        default:
            QDLOG_AT(info.site, QDLOG_ERROR, "Device Type Error: %d\n", type);  // the strings stay the caller's
    }
}

// Deliberate: not for a device that is not supported, whose first string stays empty.
void ReplaceEmptyName(const DeviceInfo& info, int type)
{
    if (type == SRCWATCH_DEVICE_NOT_SUPPORTED || *info.str1 != '\0') return;
    QDLOG_AT(info.site, QDLOG_ERROR, "String is NULL: Change to Unknown (Type %d)\n", type);
    std::memcpy(info.str1, kUnknown, sizeof(kUnknown));
}

bool HasBrand(int type) { return type >= SRCWATCH_DEVICE_DISC_PLAYER && type <= SRCWATCH_DEVICE_GAME_CONSOLE; }

// The member that is the first result string of a device type; null for none. Not the choice made above, on purpose.
const char* FirstResultKey(int type)
{
    if (type == SRCWATCH_DEVICE_SET_TOP_BOX) return "PRName";
    return HasBrand(type) || type == SRCWATCH_DEVICE_PC ? "DevName" : nullptr;
}

// The same for the second one.
const char* SecondResultKey(int type) { return HasBrand(type) ? "BName" : nullptr; }

int QueryResultText(char* dst, int port, const char* (*keyOf)(int type), ExceptionFormat format,
                    CallSite site = CallSite::Here())
{
    return QueryOutput(dst, port, format, site, [&](Json::Value& record) {
        const char* key = keyOf(NumberOf(record, "DevType"));
        if (key != nullptr) CopyMember(record, key, dst);
    });
}

}  // namespace

int srcwatch_get_device_info(int port, int* device_type, char* device_info_str1, char* device_info_str2)
{
    QDLOG(QDLOG_ERROR, "srcwatch_get_device_info called for Port (%d)\n", port);
    if (!IsPort(port)) {
        QDLOG(QDLOG_ERROR, "Port Index Error: %d\n", port);
        return SRCWATCH_ERROR_PORT;
    }
    if (device_info_str1 == nullptr) {
        QDLOG(QDLOG_ERROR, "device_info_str1 is NULL\n");
        return SRCWATCH_ERROR_NULL;
    }
    if (device_info_str2 == nullptr) {
        QDLOG(QDLOG_ERROR, "device_info_str2 is NULL\n");
        return SRCWATCH_ERROR_NULL;
    }

    return QueryRecord(port, EXCEPTION_IN("srcwatch_get_device_info"),
                       [&, site = CallSite::Here()](Json::Value& record) {
                           const DeviceInfo info{record, port, device_info_str1, device_info_str2, site};
                           const int type = NumberOf(record, "DevType");
                           Set(device_type, type);
                           SendDeviceInfo(info, type);
                           ReplaceEmptyName(info, type);
                       });
}

int srcwatch_get_codeset_info(int port, bool* has_codeset, char* dst)
{
    if (!IsPort(port)) return SRCWATCH_ERROR_PORT;
    if (dst == nullptr) return SRCWATCH_ERROR_NULL;

    int type = 0;
    char str1[SRCWATCH_TEXT_SIZE + 1] = {};  // one more, as a text of 100 bytes has no terminator
    char str2[SRCWATCH_TEXT_SIZE + 1] = {};
    static_cast<void>(srcwatch_get_device_info(port, &type, str1, str2));  // a failure leaves the first string empty
    if (BeginsWith(str1, kUnknown) || BeginsWith(str1, kGenericSetTopBox)) {
        QDLOG(QDLOG_ERROR, "Device name(%s) makes empty codeset return\n", str1);
        Set(has_codeset, false);
        return SRCWATCH_NO_CODESET;
    }

    bool found = false;
    const int result = QueryRecord(port, EXCEPTION_IN("srcwatch_get_codeset_info"), [&](Json::Value& record) {
        const std::string name = TextOf(record, "CName");
        found = !name.empty();
        Set(has_codeset, found);
        if (found) CopyText(dst, name, SRCWATCH_CODESET_TEXT_SIZE);
    });
    return result == SRCWATCH_OK && !found ? static_cast<int>(SRCWATCH_NO_CODESET) : result;
}

int srcwatch_get_result_str1_name(char* dst, int port)
{
    return QueryResultText(dst, port, FirstResultKey, EXCEPTION_IN("srcwatch_get_result_str1_name"));
}

int srcwatch_get_result_str2_name(char* dst, int port)
{
    return QueryResultText(dst, port, SecondResultKey, EXCEPTION_IN("srcwatch_get_result_str2_name"));
}

// ---------------------------------------------------------------------------------------------------------------------
// Changes and scan state of a port, saving and clearing its record

int srcwatch_get_changed_device_info(int port, int* prev_port, bool* changed)
{
    if (!IsPort(port)) return SRCWATCH_ERROR_PORT;
    const CallSite site = CallSite::Here();
    return QueryRecord(port, EXCEPTION_IN("srcwatch_get_codeset_name"), [&](Json::Value& record) {  // sic
        const int prevPort = NumberOf(record, "PrevPort");
        const int changedType = NumberOf(record, "Changed");
        Set(prev_port, prevPort);
        Set(changed, changedType != 0);
        QDLOG_AT(site, QDLOG_ERROR, "port_index(%d), API PrevPort(%d), nChanged(%d)\n", port, prevPort, changedType);
    });
}

int srcwatch_get_oobe_scan_state(int port, int* scan_state)
{
    if (!IsPort(port)) return SRCWATCH_ERROR_PORT;
    const CallSite site = CallSite::Here();
    return QueryRecord(port, EXCEPTION_IN("srcwatch_get_codeset_name"), [&](Json::Value& record) {  // sic
        const int state = NumberOf(record, "ScanState");
        Set(scan_state, state);
        QDLOG_AT(site, QDLOG_ERROR, "port_index(%d), API ScanState(%d)\n", port, state);
    });
}

void srcwatch_set_source_info(int port, int save_mode)
{
    if (save_mode != 0 && save_mode != 1) return;
    CQDInfoData* store = CSingleton<CQDInfoServerData>::GetInstance();
    if (store == nullptr) return;
    if (save_mode == 0) {
        store->t_CheckAndSaveActivityWithNotify(port);
    } else {
        store->t_CheckAndSaveActivity(port);
    }
}

void srcwatch_remove_source_info(int port)
{
    CQDInfoData* table = CQDInfoAPI::GetQDInfoUtil();
    if (table == nullptr) return;  // not the service
    const bool isHdmi = port >= 0 && port < HDMI_PORT_COUNT;
    if (!isHdmi && !table->HasPort(port)) return;
    table->t_LoadActivityInfoToMemory();  // without stored records, those in memory count
    if (!table->HasPort(port)) return;
    table->ResetSourceInfo(port);
    constexpr int kAllPorts = -1;
    CQDInfoAPI::GetQDInfoUtil()->t_CheckAndSaveActivity(kAllPorts);
}

// ---------------------------------------------------------------------------------------------------------------------
// Detection statistics

namespace {

constexpr int kKpiPorts = 8;

void FillKpi(Json::Value& entry, int port, srcwatch_kpi_info_s& info)
{
    info.hdmi_no = port + 1;
    info.t = entry.get("t", -1).asInt();
    const Json::Value& spd = entry["spd"];
    if (!spd.isNull() && spd.size() == 3) {
        info.spd_vendor = spd[0U].asString();
        info.spd_product = spd[1U].asString();
    }
    const Json::Value& result = entry["result"];
    if (!result.isNull() && result.size() == 3) info.result_first = result[0U].asString();
}

int ExportKpi(const Json::Value& shown, Json::Value& entry, int port, srcwatch_kpi_info_s& info, const CallSite& site)
{
    const std::string text = Json::writeString(Json::StreamWriterBuilder(), shown);
    QDLOG_AT(site, QDLOG_ERROR, "Succeed to Get Json [HDMI%d], %s\n", port + 1, text.c_str());
    FillKpi(entry, port, info);
    return SRCWATCH_OK;
}

}  // namespace

int srcwatch_get_device_kpi_info(int port, srcwatch_kpi_info_s* info)
{
    if (!IsPort(port)) return SRCWATCH_ERROR_PORT;
    srcwatch_kpi_info_s unused;
    const CallSite site = CallSite::Here();
    return CatchJson(EXCEPTION_IN("srcwatch_get_device_kpi_info"), site, [&]() -> int {
        Json::Value entry;
        CQDInfoData* store = CSingleton<CQDInfoServerData>::GetInstance();
        if (store != nullptr) store->t_LoadPortJsonKPIInfoToMemory(port, entry);
        if (entry.isNull()) {
            QDLOG_AT(site, QDLOG_ERROR, "Fail to Get Json [HDMI%d]\n", port + 1);
            return SRCWATCH_ERROR_JSON;
        }
        // Deliberate: an entry is an object, and indexing it by number throws; so every entry found ends here.
        return ExportKpi(entry[port], entry, port, info != nullptr ? *info : unused, site);
    });
}

int srcwatch_get_all_device_kpi_info(srcwatch_kpi_info_s* infos)
{
    srcwatch_kpi_info_s unused;
    const CallSite site = CallSite::Here();
    return CatchJson(EXCEPTION_IN("srcwatch_get_all_device_kpi_info"), site, [&]() -> int {
        // The store fills one for each HDMI input, which may be more than there are records.
        std::vector<Json::Value> entries(static_cast<std::size_t>(std::max(HDMI_PORT_COUNT, kKpiPorts)));
        CQDInfoData* store = CSingleton<CQDInfoServerData>::GetInstance();
        if (store != nullptr) store->t_LoadAllJsonKPIInfoToMemory(entries.data());
        for (int port = 0; port < kKpiPorts; ++port) {
            Json::Value& entry = entries[static_cast<std::size_t>(port)];
            if (entry.isNull()) {
                QDLOG_AT(site, QDLOG_ERROR, "Fail to Get Json [HDMI%d]\n", port + 1);
                continue;
            }
            ExportKpi(entry, entry, port, infos != nullptr ? infos[port] : unused, site);
        }
        return SRCWATCH_OK;
    });
}

// ---------------------------------------------------------------------------------------------------------------------
// Scan control and progress

namespace {

int g_nOpticalScanState = 0;
int g_nRunningScanType = 0;

// Deliberate: unchecked, as all settings writes here. A command is fire-and-forget.
void WriteInt(const char* key, int value) { vconf_set_int(key, value); }

void CommandScan(int command) { WriteInt(qdinfo::kScanProgressKey, command); }

}  // namespace

void srcwatch_oobe_scan_start(void)
{
    QDLOG(QDLOG_ERROR, "Srcwatch OOBE Scan Start API called\n");
    CommandScan(SCAN_COMMAND_OOBE_START);
}

void srcwatch_oobe_scan_stop(void)
{
    QDLOG(QDLOG_ERROR, "Srcwatch OOBE Scan Stop API called\n");
    CommandScan(SCAN_COMMAND_OOBE_STOP);
}

void srcwatch_oobe_scan_resume(void)
{
    QDLOG(QDLOG_ERROR, "Srcwatch OOBE Scan Resume API called\n");
    CommandScan(SCAN_COMMAND_OOBE_RESUME);
}

void srcwatch_optical_scan_start(void)
{
    QDLOG(QDLOG_ERROR, "Srcwatch OPTICAL Scan Start API called\n");
    CommandScan(SCAN_COMMAND_OPTICAL_START);
}

void srcwatch_optical_scan_stop(void)
{
    QDLOG(QDLOG_ERROR, "Srcwatch OPTICAL Scan Stop API called\n");
    CommandScan(SCAN_COMMAND_OPTICAL_STOP);
}

void srcwatch_set_MBR_download_finished(void)
{
    QDLOG(QDLOG_ERROR, "API: Srcwatch Set MBR Download Finished Called\n");
    CommandScan(SCAN_COMMAND_MBR_DOWNLOAD_FINISHED);
}

void srcwatch_set_optical_scan_state(int state)
{
    QDLOG(QDLOG_ERROR, "Set Optical state: %d\n", state);
    g_nOpticalScanState = state;
}

int srcwatch_is_optical_scan(bool* result)
{
    const bool scanning = g_nOpticalScanState != 0;
    if (result != nullptr) *result = scanning;
    QDLOG(QDLOG_ERROR, "Optical result: %d\n", scanning ? 1 : 0);
    return 0;
}

void srcwatch_set_running_scan_type(int type)
{
    g_nRunningScanType = type;
    QDLOG(QDLOG_ERROR, "Set Scan type : %d\n", g_nRunningScanType);
}

int srcwatch_get_running_scan_type(int* type)
{
    const int running = g_nRunningScanType;
    if (type != nullptr) *type = running;
    QDLOG(QDLOG_ERROR, "Scan type result: %d\n", running);
    return 0;
}

int srcwatch_get_oobe_stb_scan_progress(int* progress)
{
    constexpr int kRunning = 100;  // the service adds this to the percentage of a running scan
    constexpr int kLastPercent = 90;

    int state = 0;
    if (vconf_get_int(qdinfo::kScanResultKey, &state) != 0) {
        QDLOG(QDLOG_ERROR, "Vconf get fail: %s\n", qdinfo::kScanResultKey);
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
        QDLOG(QDLOG_ERROR, "Undefined progress value: %d\n", state);
        return SRCWATCH_PROGRESS_UNDEFINED;
    }
    if (progress != nullptr) *progress = percent;
    return result;
}

// ---------------------------------------------------------------------------------------------------------------------
// Features and states of the TV

namespace {

using qdinfo::HDMI_SOURCE_IDS;

constexpr int kTwcPorts = 8;
constexpr int kTwcStatusUnknown = -1;
constexpr int kTwcFrameCount = 3;

// Returns true if a switch is on, which only 1 means; logs its state, or that it cannot be read.
bool ReadSwitch(const char* key, LineFormat<> onFormat, LineFormat<> offFormat, CallSite site = CallSite::Here())
{
    int value = 0;
    if (vconf_get_int(key, &value) != 0) {
        QDLOG_AT(site, QDLOG_ERROR, "Localset vconf read error\n");
        return false;
    }
    const bool on = value == 1;
    LogLine(site, QDLOG_ERROR, on ? onFormat : offFormat);
    return on;
}

// Reads a feature switch, which counts as on only if that succeeds.
bool ReadFeature(const char* name, bool& value) { return system_info_get_custom_bool(name, &value) == 0 && value; }

ISourceControl* GetSourceControl(CallSite site = CallSite::Here())
{
    constexpr auto kMainProfile = static_cast<EProfile>(1);  // platforms name it differently
    ISourceControl* control = nullptr;
    if (TVServiceAPI::CreateSourceControl(kMainProfile, 0, &control) != 0) control = nullptr;
    if (control == nullptr) QDLOG_AT(site, QDLOG_ERROR, "Create Source Control failed!!\n");
    return control;
}

// Writes the command for a TWC port, or logs that the port is unknown.
void CommandTwc(int command, int port, CallSite site = CallSite::Here())
{
    if (port < 0 || port >= kTwcPorts) return QDLOG_AT(site, QDLOG_ERROR, "Unknown port index %d\n", port);
    CommandScan(command + port);
}

}  // namespace

bool srcwatch_is_HotPlug_progress(void)
{
    return ReadSwitch(qdinfo::kHotplugProgressKey, QDLOG_FORMAT("HotPlug is in Progress\n"),
                      QDLOG_FORMAT("HotPlug is NOT Progress\n"));
}

bool srcwatch_is_HotPlug_enable(void)
{
    return ReadSwitch(qdinfo::kHotplugSupportKey, QDLOG_FORMAT("HotPlug Enabled\n"),
                      QDLOG_FORMAT("HotPlug Disabled\n"));
}

bool srcwatch_is_MVPD_enable(void)
{
    return ReadSwitch(qdinfo::kMvpdSupportKey, QDLOG_FORMAT("MVPD Enabled\n"), QDLOG_FORMAT("MVPD Disabled\n"));
}

bool srcwatch_Is_hdmi_notification_running(void)
{
    int index = 0;
    static_cast<void>(vconf_get_int(qdinfo::kActivityIndexKey, &index));  // Deliberate: failure reads as 0.
    return index != 0;
}

bool srcwatch_is_no_device(void)
{
    QDLOG(QDLOG_ERROR, "srcwatch_is_no_device!!!\n");

    bool calvix = false;
    bool ir = false;
    const bool hasCalvix = ReadFeature("com.korvane/featureconf/bt_profile_bt_calvix", calvix);
    const bool hasIr = ReadFeature("com.korvane/featureconf/cx_core_ir_tavrin", ir);
    if (!hasCalvix && !hasIr) {
        QDLOG(QDLOG_ERROR, "TV Model does NOT Support Calvix (%d) or IR MBR (%d)\n", calvix, ir);
        return true;
    }
    QDLOG(QDLOG_ERROR, "TV Model Supports Calvix (%d) or IR MBR (%d)\n", calvix, ir);

    if (!srcwatch_is_MVPD_enable() && !srcwatch_is_HotPlug_progress()) {
        QDLOG(QDLOG_ERROR, "MVPD Option is OFF and HotPlug is NOT Progress!!\n");
        return true;
    }

    ISourceControl* control = GetSourceControl();  // Deliberate: not released, it is the TV service's own.
    bool connected = false;                        // Deliberate: never reset, and looked at also after a failed query.
    for (int i = 0; i < std::min(HDMI_PORT_COUNT, static_cast<int>(std::size(HDMI_SOURCE_IDS))); ++i) {
        if (control != nullptr && control->IsExternalSourceConnected(HDMI_SOURCE_IDS[i], &connected) < 1) {
            QDLOG(QDLOG_ERROR, "Get Ext Source Info Fail\n");
        }
        if (connected) {
            QDLOG(QDLOG_ERROR, "HDMI(%d) is connected!!\n", i + 1);
            return false;
        }
    }
    QDLOG(QDLOG_ERROR, "There is no connected HDMI Cable!!\n");
    return true;
}

int srcwatch_is_TWC(void)
{
    int status = kTwcStatusUnknown;
    static_cast<void>(vconf_get_int(qdinfo::kTwcStatusKey, &status));  // Deliberate: failure reads as -1.
    QDLOG(QDLOG_ERROR, "srcwatch_is_TWC return %d\n", status);
    return status;
}

void srcwatch_TWC_check_start(int port)
{
    QDLOG(QDLOG_ERROR, "Srcwatch TWC Check Start API called %d\n", port);
    WriteInt(qdinfo::kTwcStatusKey, kTwcStatusUnknown);
    CommandTwc(SCAN_COMMAND_TWC_CHECK_START, port);
    QDLOG(QDLOG_ERROR, "srcwatch_TWC_check_start end %d\n", port);
}

void srcwatch_TWC_check_end(int port)
{
    QDLOG(QDLOG_ERROR, "Srcwatch TWC Check End API called\n");
    CommandTwc(SCAN_COMMAND_TWC_CHECK_END, port);
    WriteInt(qdinfo::kTwcSequenceKey, -1);
    WriteInt(qdinfo::kTwcFrameCountKey, kTwcFrameCount);
    WriteInt(qdinfo::kTwcStatusKey, kTwcStatusUnknown);
    QDLOG(QDLOG_ERROR, "Srcwatch TWC Check End API End\n");
}

void srcwatch_TWC_is_channeltuned(int twc_seq_id, int twc_frame_count)
{
    WriteInt(qdinfo::kTwcSequenceKey, twc_seq_id);
    WriteInt(qdinfo::kTwcFrameCountKey, twc_frame_count);
    QDLOG(QDLOG_ERROR, "(twc_seq_id , twc_frame_count) = (%d, %d)\n", twc_seq_id, twc_frame_count);
}

// ---------------------------------------------------------------------------------------------------------------------
// Events

namespace {

qdinfo::CQDEventReciever* g_pReceiver = nullptr;  // the process's one client-side receiver

}  // namespace

int srcwatch_register_event_callback(srcwatch_event_cb callback, void* user_data)
{
    if (callback == nullptr) {
        QDLOG(QDLOG_ERROR, "[srcwatch_register_event_callback] input function address is NULL");
        return 0;
    }
    if (g_pReceiver != nullptr) {
        QDLOG(QDLOG_ERROR, "[srcwatch_register_event_callback] already registered");
        return 0;
    }
    try {
        g_pReceiver = new (std::nothrow) qdinfo::CQDEventReciever(qdinfo::kChannelName, false);
        if (g_pReceiver == nullptr) throw std::bad_alloc();
        for (const int type : {SRCWATCH_EVENT_DETECTED, SRCWATCH_EVENT_SCAN_PROGRESS, SRCWATCH_EVENT_SCAN_FINISHED,
                               SRCWATCH_EVENT_CONNECTION}) {
            g_pReceiver->RegisterEventCallback(type, callback, user_data);
        }
        return 1;
    } catch (const std::exception&) {                // no memory; a C program could not catch it
        delete std::exchange(g_pReceiver, nullptr);  // a part of a registration would be in the way of the next one
        QDLOG(QDLOG_ERROR, "new error");
        return 0;
    }
}

int srcwatch_unregister_event_callback(srcwatch_event_cb callback)
{
    // Deliberate: the messages name the register function.
    if (callback == nullptr) {
        QDLOG(QDLOG_ERROR, "[srcwatch_register_event_callback] input function address is NULL");
        return 0;
    }
    if (g_pReceiver == nullptr) {
        QDLOG(QDLOG_ERROR, "[srcwatch_register_event_callback] not registered");
        return 0;
    }
    g_pReceiver->UnregisterEventCallback(-1);
    delete g_pReceiver;
    g_pReceiver = nullptr;
    return 1;
}
