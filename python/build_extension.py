#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the C source of the extension module srcwatch._srcwatch: build_extension.py FILE

What is declared here is what the module has. The compiler checks it against the headers: types of functions, layout of
structures, values of constants.
"""
import sys

import cffi

SOURCE = """
#include <gio/gio.h>
#include <srcwatch-api.h>
#include <srcwatch-protocol.h>

/* Returns when the bus has taken in what this process has asked of it. */
static void sync_with_bus(void)
{
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, NULL, NULL);
    if (bus == NULL) return;
    const char* name = "org.freedesktop.DBus";
    GVariant* answer = g_dbus_connection_call_sync(bus, name, "/org/freedesktop/DBus", name, "GetId", NULL, NULL,
                                                   G_DBUS_CALL_FLAGS_NONE, -1, NULL, NULL);
    if (answer != NULL) g_variant_unref(answer);
    g_object_unref(bus);
}
"""

CONSTANTS = (
    *(f"SRCWATCH_{name}" for name in (
        "OK", "ERROR_JSON", "ERROR_PORT", "NO_CODESET", "PORT_OPTICAL", "TEXT_SIZE", "CODESET_TEXT_SIZE",
        "DEVICE_SET_TOP_BOX", "DEVICE_DISC_PLAYER", "DEVICE_HOME_THEATRE", "DEVICE_STREAMING_BOX",
        "DEVICE_GAME_CONSOLE", "DEVICE_OTHER", "DEVICE_NOT_SUPPORTED", "DEVICE_PC", "SCAN_NOT_SCANNED", "SCAN_FOUND",
        "SCAN_EMPTY", "PROGRESS_UNREADABLE", "PROGRESS_UNDEFINED", "SCAN_DONE", "SCAN_STOPPED", "SCAN_FAILED",
        "SCAN_NOTHING_FOUND",
        "METHOD_NONE", "METHOD_PROFILE", "METHOD_SPD", "METHOD_CEC", "METHOD_AKSV", "METHOD_SILENT", "METHOD_FAULTY",
        "EVENT_CONNECTION", "EVENT_DETECTED", "EVENT_SCAN_PROGRESS", "EVENT_SCAN_FINISHED")),
    "G_IO_IN", "G_IO_OUT", "G_MAIN_CONTEXT_FLAGS_OWNERLESS_POLLING",
)

FUNCTIONS = """
int srcwatch_get_cec_name(char* dst, int port);
int srcwatch_get_model_name(char* dst, int port);
int srcwatch_get_manufacturer_name(char* dst, int port);
int srcwatch_get_codeset_name(char* dst, int port);
int srcwatch_get_logo_mso_name(char* dst, int port);
int srcwatch_get_cec_device_name(char* dst, int port);
int srcwatch_get_aksv_info(char* dst, int port);
int srcwatch_get_result_str1_name(char* dst, int port);
int srcwatch_get_result_str2_name(char* dst, int port);
int srcwatch_get_codeset_info(int port, bool* has_codeset, char* dst);
int srcwatch_get_product_type_name(int port, int* device_type);
int srcwatch_get_denycount(int* deny_count, int port);
int srcwatch_get_detection_moethod(int port, int* method);
int srcwatch_get_oobe_scan_state(int port, int* scan_state);
int srcwatch_get_changed_device_info(int port, int* prev_port, bool* changed);
int srcwatch_get_device_info(int port, int* device_type, char* device_info_str1, char* device_info_str2);
int get_hdmi_count(void);

bool srcwatch_is_HotPlug_progress(void);
bool srcwatch_is_HotPlug_enable(void);
bool srcwatch_is_MVPD_enable(void);
bool srcwatch_Is_hdmi_notification_running(void);
bool srcwatch_is_no_device(void);

void srcwatch_oobe_scan_start(void);
void srcwatch_oobe_scan_stop(void);
void srcwatch_oobe_scan_resume(void);
int srcwatch_get_oobe_stb_scan_progress(int* progress);

typedef struct srcwatch_event_s {
    int32_t type;
    int32_t args[10];
    char str_args[3][100];
    void* ptr_args[4];
} srcwatch_event_s;
typedef void (*srcwatch_event_cb)(void* user_data, srcwatch_event_s* event);
int srcwatch_register_event_callback(srcwatch_event_cb callback, void* user_data);
int srcwatch_unregister_event_callback(srcwatch_event_cb callback);
extern "Python" void deliver_event(void* user_data, srcwatch_event_s* event);
void sync_with_bus(void);

typedef ... GMainContext;
typedef struct { int fd; unsigned short events; unsigned short revents; } GPollFD;
GMainContext* g_main_context_new_with_flags(int flags);
void g_main_context_push_thread_default(GMainContext* context);
void g_main_context_pop_thread_default(GMainContext* context);
int g_main_context_iteration(GMainContext* context, int may_block);
int g_main_context_acquire(GMainContext* context);
void g_main_context_release(GMainContext* context);
int g_main_context_prepare(GMainContext* context, int* priority);
int g_main_context_query(GMainContext* context, int max_priority, int* timeout, GPollFD* fds, int n_fds);
"""


def main() -> None:
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    builder = cffi.FFI()
    builder.cdef("".join(f"#define {name} ...\n" for name in CONSTANTS) + FUNCTIONS)
    builder.set_source("srcwatch._srcwatch", SOURCE, py_limited_api=True)
    builder.emit_c_code(sys.argv[1])


main()
