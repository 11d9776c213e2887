/* SPDX-License-Identifier: Apache-2.0 */
/* An application in C: calls every function of the C header, through the shared library. */
#undef NDEBUG
#include <assert.h>
#include <limits.h>
#include <srcwatch-api.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vconf.h>

static const char kHdmiKey[] = "db/srcwatch-service/source-activity";
static const char kOpticalKey[] = "db/srcwatch-service/optical-source-activity";
static const char kScanCommandKey[] = "memory/srcwatch-service/scan_progress";
static const char kScanResultKey[] = "memory/srcwatch-service/scan_result";

static const char kHdmiDocument[] =
    "{\"activity\":[{\"AKSV\":\"0123456789\",\"BName\":\"Brand\",\"CDevName\":\"Cec device\",\"CECName\":\"Cec\","
    "\"CName\":\"C01234567890\",\"Changed\":5,\"DMethod\":6,\"DenyCount\":7,\"DevName\":\"Device\",\"DevType\":3,"
    "\"MFName\":\"Maker\",\"ModelName\":\"Model\",\"PRName\":\"Provider\",\"PrevPort\":2,\"ScanState\":8}]}";
static const char kOpticalDocument[] = "{\"activity\":{\"CECName\":\"Optical\",\"DevType\":9}}";

static void ExpectText(int (*query)(char*, int), const char* expected)
{
    char dst[SRCWATCH_TEXT_SIZE + 1];
    for (size_t i = 0; i < sizeof(dst); ++i) dst[i] = '#';
    assert(query(dst, 0) == SRCWATCH_OK);
    assert(strcmp(dst, expected) == 0);
    assert(dst[SRCWATCH_TEXT_SIZE - 1] == '\0' && dst[SRCWATCH_TEXT_SIZE] == '#');
    assert(query(dst, 8) == SRCWATCH_ERROR_PORT);
    assert(query(NULL, 0) == SRCWATCH_ERROR_NULL);
}

static void AsksForTexts(void)
{
    ExpectText(srcwatch_get_cec_name, "Cec");
    ExpectText(srcwatch_get_model_name, "Model");
    ExpectText(srcwatch_get_manufacturer_name, "Maker");
    ExpectText(srcwatch_get_codeset_name, "C01234567890");
    ExpectText(srcwatch_get_logo_mso_name, "Provider");
    ExpectText(srcwatch_get_cec_device_name, "Cec device");
    ExpectText(srcwatch_get_aksv_info, "0123456789");
    ExpectText(srcwatch_get_result_str1_name, "Device");
    ExpectText(srcwatch_get_result_str2_name, "Brand");
}

static void AsksForNumbers(void)
{
    int number = 0;
    bool changed = false;
    assert(srcwatch_get_product_type_name(0, &number) == SRCWATCH_OK && number == SRCWATCH_DEVICE_DISC_PLAYER);
    assert(srcwatch_get_denycount(&number, 0) == SRCWATCH_OK && number == 7);
    assert(srcwatch_get_detection_moethod(0, &number) == SRCWATCH_OK && number == 6);
    assert(srcwatch_get_oobe_scan_state(0, &number) == SRCWATCH_OK && number == 8);
    assert(srcwatch_get_changed_device_info(0, &number, &changed) == SRCWATCH_OK && number == 2 && changed);
    assert(srcwatch_get_product_type_name(SRCWATCH_PORT_OPTICAL, &number) == SRCWATCH_OK);
    assert(number == SRCWATCH_DEVICE_PC);
    assert(srcwatch_get_product_type_name(INT_MIN, &number) == SRCWATCH_ERROR_PORT);
    assert(srcwatch_get_current_aksv_info() == -1);
}

static void AsksWhatToShow(void)
{
    int type = 0;
    bool known = false;
    char str1[SRCWATCH_TEXT_SIZE];
    char str2[SRCWATCH_TEXT_SIZE];
    char codeset[SRCWATCH_CODESET_TEXT_SIZE];
    assert(srcwatch_get_device_info(0, &type, str1, str2) == SRCWATCH_OK);
    assert(type == SRCWATCH_DEVICE_DISC_PLAYER && strcmp(str1, "Device") == 0 && strcmp(str2, "Brand") == 0);
    assert(srcwatch_get_codeset_info(0, &known, codeset) == SRCWATCH_OK);
    assert(known && memcmp(codeset, "C012345678", sizeof(codeset)) == 0);
    assert(srcwatch_get_codeset_info(1, &known, codeset) == SRCWATCH_NO_CODESET && !known);
    assert(vconf_set_str(kHdmiKey, "{\"activity\":[7]}") == 0);
    assert(srcwatch_get_device_info(0, &type, str1, str2) == SRCWATCH_ERROR_JSON);
}

static void SavesAndClears(void)
{
    char* text = NULL;
    srcwatch_set_source_info(0, 0); /* of a table without records */
    text = vconf_get_str(kHdmiKey);
    assert(text != NULL && strcmp(text, "null") == 0);
    free(text);
    srcwatch_remove_source_info(0); /* not in this process, which is not a service */
    srcwatch_remove_source_info(SRCWATCH_PORT_OPTICAL);
}

static int ScanCommand(void)
{
    int command = 0;
    assert(vconf_get_int(kScanCommandKey, &command) == 0);
    return command;
}

static void CommandsScans(void)
{
    const struct {
        void (*function)(void);
        int command;
    } rows[] = {{srcwatch_oobe_scan_start, 2001},   {srcwatch_oobe_scan_stop, 2002},
                {srcwatch_oobe_scan_resume, 2003},  {srcwatch_optical_scan_start, 5001},
                {srcwatch_optical_scan_stop, 5002}, {srcwatch_set_MBR_download_finished, 3001}};
    for (size_t i = 0; i < sizeof(rows) / sizeof(rows[0]); ++i) {
        rows[i].function();
        assert(ScanCommand() == rows[i].command);
    }
    srcwatch_TWC_check_start(3);
    assert(ScanCommand() == 2013);
    srcwatch_TWC_check_end(4);
    assert(ScanCommand() == 2024);
}

static void FollowsScans(void)
{
    int progress = -1;
    int type = 0;
    bool scanning = false;
    assert(srcwatch_get_oobe_stb_scan_progress(&progress) == SRCWATCH_PROGRESS_UNREADABLE && progress == -1);
    assert(vconf_set_int(kScanResultKey, 142) == 0);
    assert(srcwatch_get_oobe_stb_scan_progress(&progress) == 0 && progress == 42);
    assert(vconf_set_int(kScanResultKey, 99999) == 0);
    assert(srcwatch_get_oobe_stb_scan_progress(&progress) == SRCWATCH_PROGRESS_UNDEFINED && progress == 42);
    srcwatch_set_optical_scan_state(3);
    assert(srcwatch_is_optical_scan(&scanning) == 0 && scanning);
    srcwatch_set_running_scan_type(11);
    assert(srcwatch_get_running_scan_type(&type) == 0 && type == 11);
}

static void AsksForStates(void)
{
    assert(!srcwatch_is_HotPlug_progress());
    assert(!srcwatch_is_HotPlug_enable());
    assert(!srcwatch_is_MVPD_enable());
    assert(!srcwatch_Is_hdmi_notification_running());
    assert(vconf_set_int("memory/srcwatch-service/hp_auto_detect_support", 1) == 0);
    assert(srcwatch_is_HotPlug_enable());
    assert(srcwatch_is_no_device());
    assert(vconf_set_int("memory/srcwatch-service/twc_status_internal", 6) == 0);
    assert(srcwatch_is_TWC() == 6);
    srcwatch_TWC_is_channeltuned(4, 5);
    int frames = 0;
    assert(vconf_get_int("memory/srcwatch-service/twc_frame_count", &frames) == 0 && frames == 5);
    assert(get_hdmi_count() == 4);
}

static void OnEvent(void* user_data, srcwatch_event_s* event) { *(int32_t*)user_data = event->type; }

static void RegistersForEvents(void)
{
    int32_t seen = 0;
    srcwatch_event_s event = {.type = SRCWATCH_EVENT_DETECTED};
    OnEvent(&seen, &event);
    assert(seen == 0x1001);
    assert(srcwatch_unregister_event_callback(OnEvent) == 0);
    assert(srcwatch_register_event_callback(NULL, NULL) == 0);
    assert(srcwatch_register_event_callback(OnEvent, &seen) == 1); /* also without a bus */
    assert(srcwatch_register_event_callback(OnEvent, &seen) == 0);
    assert(srcwatch_unregister_event_callback(NULL) == 0);
    assert(srcwatch_unregister_event_callback(OnEvent) == 1);
}

int main(void)
{
    assert(setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/dev/null/no-bus", 1) == 0);
    assert(vconf_set_str(kHdmiKey, kHdmiDocument) == 0);
    assert(vconf_set_str(kOpticalKey, kOpticalDocument) == 0);
    AsksForTexts();
    AsksForNumbers();
    AsksWhatToShow();
    SavesAndClears();
    CommandsScans();
    FollowsScans();
    AsksForStates();
    RegistersForEvents();
    puts("all calls answered");
    return EXIT_SUCCESS;
}
