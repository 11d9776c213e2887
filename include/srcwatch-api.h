/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * What applications may ask and command: the devices on the TV's inputs, scans, feature switches, events.
 *
 * Usable from C11 and from C++14 on. Nothing here throws in C terms; in C++ only std::bad_alloc can pass.
 *
 * Ports are indexes: 0 is HDMI 1, 99 (SRCWATCH_PORT_OPTICAL) is the optical source. Queries about a port accept 0 to 7
 * and 99, independently of the number of inputs of the TV. Results and outputs for what may be stored:
 *
 * stored                                                          | query for a text | query for a number
 * --------------------------------------------------------------- | ---------------- | ------------------
 * nothing, or text that the JSON parser refuses                   | 0, empty         | 0, 0
 * JSON that is not an object, or an object without "activity"     | 0, empty         | 0, 0
 * HDMI: "activity" is not an array, or has no element of the port | 0, empty         | 0, 0
 * the record is null; or its member is absent or null             | 0, empty         | 0, 0
 * the member is a text                                            | 0, the text      | 1, untouched
 * the member is a number                                          | 0, its JSON      | 0, its whole part
 * the member is a number whose whole part is not within 32 bits   | 0, its JSON      | 1, untouched
 * the member is true or false                                     | 0, its JSON      | 0, 1 or 0
 * the member is an array or an object                             | 1, untouched     | 1, untouched
 * the record is neither null nor an object                        | 1, untouched     | 1, untouched
 *
 * srcwatch-protocol.h has the values that records, events and commands hold, srcwatch-version.h the version.
 *
 * Every query reads the settings store afresh and may be called from any thread. Events are delivered by the GLib main
 * loop of the host process. The library starts no thread.
 *
 * With the host platform, a process needs at most 24 file descriptors for all of this: 4 that stay open for events, 11
 * for stored settings and for watching them, 1 for a log file, and up to 8 during a call. With fewer, queries fail as
 * they do without a store; but where GLib cannot have a descriptor for a main loop or a connection, it ends the
 * process.
 */
#ifndef SRCWATCH_API_H
#define SRCWATCH_API_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#include <string>
#endif

/** Marks what the shared library exports. */
#define SRCWATCH_API __attribute__((visibility("default")))
/** Marks a member of an exported class that stays inside the library. */
#define SRCWATCH_LOCAL __attribute__((visibility("hidden")))

#ifdef __cplusplus
extern "C" {
#endif

/** Results of the queries about a port. */
enum srcwatch_result {
    SRCWATCH_OK = 0,         /**< the outputs were written */
    SRCWATCH_ERROR_JSON = 1, /**< the record or a member is of the wrong kind; outputs may be partly written */
    SRCWATCH_ERROR_PORT = 2, /**< the port is not 0 to 7 or 99; nothing was touched */
    SRCWATCH_NO_CODESET = 3, /**< no codeset is known for the device */
    SRCWATCH_ERROR_NULL = 4  /**< an output that must not be null is; nothing was touched */
};

/** Sizes that callers need. */
enum {
    SRCWATCH_PORT_OPTICAL = 99,     /**< port index of the optical source */
    SRCWATCH_TEXT_SIZE = 100,       /**< bytes of every text buffer but the codeset's */
    SRCWATCH_CODESET_TEXT_SIZE = 10 /**< bytes of the buffer of srcwatch_get_codeset_info() */
};

/** Device types, as stored in a record. Every other value is an error type. */
enum srcwatch_device_type {
    SRCWATCH_DEVICE_SET_TOP_BOX = 1,
    SRCWATCH_DEVICE_DISC_PLAYER = 3,
    SRCWATCH_DEVICE_HOME_THEATRE = 4,
    SRCWATCH_DEVICE_STREAMING_BOX = 5,
    SRCWATCH_DEVICE_GAME_CONSOLE = 6,
    SRCWATCH_DEVICE_OTHER = 7,
    SRCWATCH_DEVICE_NOT_SUPPORTED = 8,
    SRCWATCH_DEVICE_PC = 9
};

/* ---------------------------------------------------------------------------------------------------------------------
 * One text of a port's record
 *
 * Common to the functions of this group:
 *   dst   Buffer of at least 100 bytes, owned by the caller. Exactly 100 bytes are written: the text, then zeros. It is
 *         NOT terminated when the text has 100 bytes or more; a text may be cut inside a UTF-8 character.
 *   port  0 to 7, or 99.
 *   Result: SRCWATCH_OK; SRCWATCH_ERROR_PORT (tested first); SRCWATCH_ERROR_NULL when dst is null;
 *   SRCWATCH_ERROR_JSON when the record or the member cannot be read as text (dst is then untouched).
 */

/** Copies the HDMI-CEC name of the device ("Set OSD Name", HDMI-CEC 1.4). */
SRCWATCH_API int srcwatch_get_cec_name(char* dst, int port);

/** Copies the model name: the product description of the SPD InfoFrame (CTA-861). */
SRCWATCH_API int srcwatch_get_model_name(char* dst, int port);

/** Copies the manufacturer name: the vendor name of the SPD InfoFrame (CTA-861). */
SRCWATCH_API int srcwatch_get_manufacturer_name(char* dst, int port);

/** Copies the full name of the remote-control codeset; srcwatch_get_codeset_info() returns its short form. */
SRCWATCH_API int srcwatch_get_codeset_name(char* dst, int port);

/** Copies the provider (logo, MSO) name. */
SRCWATCH_API int srcwatch_get_logo_mso_name(char* dst, int port);

/** Copies the device name that was derived from HDMI-CEC. */
SRCWATCH_API int srcwatch_get_cec_device_name(char* dst, int port);

/** Copies the HDCP key selection vector (AKSV) as text: ten hexadecimal digits for its 40 bits. */
SRCWATCH_API int srcwatch_get_aksv_info(char* dst, int port);

/* ---------------------------------------------------------------------------------------------------------------------
 * One number of a port's record
 *
 * The argument orders differ, and are kept for existing callers. A missing member reads as 0.
 *   Result: SRCWATCH_OK; SRCWATCH_ERROR_PORT (tested first); SRCWATCH_ERROR_NULL when the output is null;
 *   SRCWATCH_ERROR_JSON when the record or the member cannot be read as a 32-bit integer (output untouched).
 */

/** Reads the device type (enum srcwatch_device_type) of the device on a port. Port first, output second. */
SRCWATCH_API int srcwatch_get_product_type_name(int port, int* device_type);

/** Reads how often the user denied the detection result of a port. Output first, port second. */
SRCWATCH_API int srcwatch_get_denycount(int* deny_count, int port);

/** Reads the method by which the device was detected, as the detection service numbers them. Port first. */
SRCWATCH_API int srcwatch_get_detection_moethod(int port, int* method); /* sic */

/** Reads the scan state of a port in the first-setup scan. Port first; the output may be null. Logs the value. */
SRCWATCH_API int srcwatch_get_oobe_scan_state(int port, int* scan_state);

/**
 * Reads whether the device on a port changed, and on which port it was seen before.
 *
 * @param port       0 to 7, or 99.
 * @param prev_port  Receives the recorded previous port index, unless null.
 * @param changed    Receives true when the record is marked as changed in any way, unless null.
 * @return SRCWATCH_OK, SRCWATCH_ERROR_PORT or SRCWATCH_ERROR_JSON (outputs then untouched). Logs the values.
 */
SRCWATCH_API int srcwatch_get_changed_device_info(int port, int* prev_port, bool* changed);

/** Kept for old callers. @return Always -1. */
SRCWATCH_API int srcwatch_get_current_aksv_info(void);

/* ---------------------------------------------------------------------------------------------------------------------
 * What to show for a device
 */

/**
 * Reads the device type and composes the two strings to show for the device on a port.
 *
 * type     | device_info_str1                                         | device_info_str2
 * -------- | -------------------------------------------------------- | ------------------------
 * 1        | provider name; "Unknown" when it begins with "STB"       | unknown-type text
 * 3 to 6   | device name                                              | brand name
 * 7        | device name                                              | unknown-type text
 * 8        | empty (only its first byte is written)                   | unknown-type text
 * 9        | device name                                              | brand name
 * others   | untouched                                                | untouched
 *
 * Unless the type is 8, a first string that is empty afterwards becomes "Unknown" (8 bytes are written); so for the
 * other types a buffer that began with a zero byte reads "Unknown", and any other buffer keeps the caller's text.
 *
 * @param port              0 to 7, or 99.
 * @param device_type       Receives the stored type, also an unknown one, before the strings are composed; unless null.
 * @param device_info_str1  Buffer of at least 100 bytes; zero-filled to 100, not terminated at 100 bytes or more.
 * @param device_info_str2  The same.
 * @return SRCWATCH_OK, also for an error type; SRCWATCH_ERROR_PORT; SRCWATCH_ERROR_NULL when a string is null;
 *         SRCWATCH_ERROR_JSON, with the outputs partly written.
 * @note Logs every call and outcome.
 */
SRCWATCH_API int srcwatch_get_device_info(int port, int* device_type, char* device_info_str1, char* device_info_str2);

/**
 * Copies the short name of the device's remote-control codeset.
 *
 * A device that is known only generically has none: its first string of srcwatch_get_device_info() begins with
 * "Unknown" or "STB".
 *
 * @param port         0 to 7, or 99.
 * @param has_codeset  Receives true if a codeset is known, unless null; written only with the results 0 and 3.
 * @param dst          Buffer of at least 10 bytes; exactly 10 are written on success, the name and then zeros. It is
 *                     NOT terminated when the name has 10 bytes or more.
 * @return SRCWATCH_OK; SRCWATCH_NO_CODESET (dst untouched); SRCWATCH_ERROR_PORT; SRCWATCH_ERROR_NULL when dst is null;
 *         SRCWATCH_ERROR_JSON.
 * @note Reads the settings store twice.
 */
SRCWATCH_API int srcwatch_get_codeset_info(int port, bool* has_codeset, char* dst);

/**
 * Copies the first string of a detection result: the provider name of type 1, the device name of types 3, 4, 5, 6
 * and 9. The choice is deliberately not that of srcwatch_get_device_info().
 *
 * @param dst   Buffer of at least 100 bytes, filled as for the text queries; untouched for every other type.
 * @param port  0 to 7, or 99.
 * @return SRCWATCH_OK, SRCWATCH_ERROR_PORT, SRCWATCH_ERROR_NULL or SRCWATCH_ERROR_JSON.
 */
SRCWATCH_API int srcwatch_get_result_str1_name(char* dst, int port);

/** Copies the second string of a detection result: the brand name of types 3 to 6. Otherwise as the first. */
SRCWATCH_API int srcwatch_get_result_str2_name(char* dst, int port);

/* ---------------------------------------------------------------------------------------------------------------------
 * Saving and clearing a record: for the detection service's process
 */

/**
 * Saves the table of records of this process and announces it.
 *
 * @param port       The port that changed; 99 announces without saving.
 * @param save_mode  0 or 1, which do the same; any other value does nothing.
 * @warning The table of a process that is not the service is empty: there, every port but 99 replaces the stored
 * records of all HDMI inputs by none.
 * @note Blocks for the settings write and the bus connection. A failed save is only logged, and is still announced.
 */
SRCWATCH_API void srcwatch_set_source_info(int port, int save_mode);

/**
 * Loads the stored records, clears that of a port except its deny count, saves all HDMI records and announces it.
 *
 * @param port  A port of the table of records, or 99. Any other port is silently ignored.
 * @note Does nothing in a process that did not declare itself the service. With an empty table (no HDMI input is
 * known), port 99 replaces the stored records of all HDMI inputs by none.
 */
SRCWATCH_API void srcwatch_remove_source_info(int port);

/* ---------------------------------------------------------------------------------------------------------------------
 * Scans: commands to the detection service, which watches for them. The caller does not learn whether a service runs.
 */

/** Starts the first-setup scan. */
SRCWATCH_API void srcwatch_oobe_scan_start(void);
/** Stops the first-setup scan. */
SRCWATCH_API void srcwatch_oobe_scan_stop(void);
/** Resumes the first-setup scan where it was stopped. */
SRCWATCH_API void srcwatch_oobe_scan_resume(void);
/** Starts the scan of the optical source. */
SRCWATCH_API void srcwatch_optical_scan_start(void);
/** Stops the scan of the optical source. */
SRCWATCH_API void srcwatch_optical_scan_stop(void);
/** Reports that the codesets of the multi-brand remote (MBR) have been downloaded. */
SRCWATCH_API void srcwatch_set_MBR_download_finished(void);

/** Results of srcwatch_get_oobe_stb_scan_progress() that are errors; every other value is a state. */
enum {
    SRCWATCH_PROGRESS_UNREADABLE = -10, /**< the progress could not be read */
    SRCWATCH_PROGRESS_UNDEFINED = -99   /**< the service wrote a value that has no meaning */
};

/**
 * Reads the progress of the first-setup scan.
 *
 * @param progress  Receives the percentage, 0 to 90, with a result of 0 or more; otherwise untouched.
 * @return 0 while the scan runs or before any scan; 1 to the number of HDMI inputs: the final stage, at 90 per cent;
 *         -1, -2, -3: the service's own results (stopped, failed, nothing found); SRCWATCH_PROGRESS_UNREADABLE;
 *         SRCWATCH_PROGRESS_UNDEFINED.
 */
SRCWATCH_API int srcwatch_get_oobe_stb_scan_progress(int* progress);

/** Keeps in this process whether the optical source is being scanned. Not shared with other processes. */
SRCWATCH_API void srcwatch_set_optical_scan_state(int state);
/** Reads whether the kept optical scan state is non-zero. @return Always 0. */
SRCWATCH_API int srcwatch_is_optical_scan(bool* result);
/** Keeps in this process the type of the running scan. Not shared with other processes. */
SRCWATCH_API void srcwatch_set_running_scan_type(int type);
/** Reads the kept type of the running scan. @return Always 0. */
SRCWATCH_API int srcwatch_get_running_scan_type(int* type);

/* ---------------------------------------------------------------------------------------------------------------------
 * Features and states of the TV
 */

/** Returns true if a hot-plug detection is running; false also when that cannot be read. */
SRCWATCH_API bool srcwatch_is_HotPlug_progress(void);
/** Returns true if hot-plug detection is switched on; false also when that cannot be read. */
SRCWATCH_API bool srcwatch_is_HotPlug_enable(void);
/** Returns true if MVPD detection is switched on; false also when that cannot be read. */
SRCWATCH_API bool srcwatch_is_MVPD_enable(void);
/** Returns true if the TV's HDMI notification is shown; false also when that cannot be read. */
SRCWATCH_API bool srcwatch_Is_hdmi_notification_running(void); /* sic */

/**
 * Returns true if no HDMI device is, or can be, found.
 *
 * That is so when the TV supports neither the Calvix remote nor the infrared one; when MVPD detection is off and no
 * hot-plug detection runs; or when the TV service reports no cable on any HDMI input. Queries the TV service for each
 * input.
 */
SRCWATCH_API bool srcwatch_is_no_device(void);

/** Returns the status of the TWC check. @return The service's value; -1 when unknown. */
SRCWATCH_API int srcwatch_is_TWC(void);
/** Starts the TWC check of an HDMI port. @param port 0 to 7; another port clears the status and commands nothing. */
SRCWATCH_API void srcwatch_TWC_check_start(int port);
/** Ends the TWC check of an HDMI port. @param port 0 to 7; another port resets the check's values only. */
SRCWATCH_API void srcwatch_TWC_check_end(int port);
/** Reports a tuned channel to the TWC check: its sequence identifier and its frame count. */
SRCWATCH_API void srcwatch_TWC_is_channeltuned(int twc_seq_id, int twc_frame_count);

/** Returns the number of HDMI inputs. @return At least 1, or -1 when unknown. Asks the platform at each call. */
SRCWATCH_API int get_hdmi_count(void);

/* ---------------------------------------------------------------------------------------------------------------------
 * Events
 */

/** Types of events. Those marked * reach the callback of srcwatch_register_event_callback(). */
enum srcwatch_event_type {
    SRCWATCH_EVENT_CONNECTION = 10,          /**< * args: port, 1 plugged or 0 unplugged */
    SRCWATCH_EVENT_DETECTED = 0x1001,        /**< * args: port, device type, changed; texts: device, brand, provider */
    SRCWATCH_EVENT_SCAN_PROGRESS = 0x1002,   /**< * args: per cent, port */
    SRCWATCH_EVENT_SCAN_FINISHED = 0x1003,   /**< * args: result, number of devices found */
    SRCWATCH_EVENT_SERVICE_STARTED = 0x1004, /**< the service has acquired its bus name */
    SRCWATCH_EVENT_SERVICE_STOPPED = 0x1005, /**< the service has lost its bus name */
    SRCWATCH_EVENT_RECORDS_SAVED = 0x1008    /**< a check-and-save ended, with or without a save */
};

/** One event. Its layout is fixed. */
typedef struct srcwatch_event_s {
    int32_t type;          /**< enum srcwatch_event_type, or a number of the service's own */
    int32_t args[10];      /**< numbers; 0 where none was set */
    char str_args[3][100]; /**< texts, each terminated: at most 99 bytes */
    void* ptr_args[4];     /**< never transmitted; on a received event in C++, [0] is the std::stringstream of the reply
                                to a method call and [1] that of the request's remaining text */
} srcwatch_event_s;

#ifdef __cplusplus
#define SRCWATCH_ASSERT_LAYOUT(condition) static_assert(condition, "layout of srcwatch_event_s")
#else
#define SRCWATCH_ASSERT_LAYOUT(condition) _Static_assert(condition, "layout of srcwatch_event_s")
#endif
SRCWATCH_ASSERT_LAYOUT(offsetof(srcwatch_event_s, args) == 4);
SRCWATCH_ASSERT_LAYOUT(offsetof(srcwatch_event_s, str_args) == 44);
SRCWATCH_ASSERT_LAYOUT(offsetof(srcwatch_event_s, ptr_args) == 344);
SRCWATCH_ASSERT_LAYOUT(sizeof(srcwatch_event_s) == 344 + 4 * sizeof(void*));
#undef SRCWATCH_ASSERT_LAYOUT

/**
 * Type of the function that is called for each event, in the GLib main context that was thread-default where the
 * callback was registered, with the library's receiver lock held.
 *
 * @param user_data  As given at registration.
 * @param event      Valid only during the call.
 */
typedef void (*srcwatch_event_cb)(void* user_data, srcwatch_event_s* event);

/**
 * Registers for the detection events, those marked * in enum srcwatch_event_type. A process has one callback at a time.
 *
 * Connects to the D-Bus system bus, which blocks for as long as the bus takes to answer. Without a bus the result is
 * still 1 and no event arrives. The process's shared bus connection is set not to end the process when the bus dies;
 * after that, let the main loop run (in which GLib drops the broken connection), unregister and register again to
 * receive events from the new bus.
 *
 * The callback may call every function of this header, these two included. It must not wait for another thread that
 * registers or unregisters. An exception that it throws is logged and goes no further.
 *
 * @param callback   Not null.
 * @param user_data  Passed on; not owned.
 * @return 1 registered; 0 refused (callback is null, or one is registered already, which stays in force; no memory).
 * @note Call from one thread, the main one; it must run a GLib main loop on its thread-default context.
 */
SRCWATCH_API int srcwatch_register_event_callback(srcwatch_event_cb callback, void* user_data);

/**
 * Removes the event callback.
 *
 * Safe inside the callback: the event and its streams stay valid until the callback returns.
 *
 * @param callback  Not null; otherwise ignored.
 * @return 1 unregistered; 0 refused (callback is null, or none is registered).
 */
SRCWATCH_API int srcwatch_unregister_event_callback(srcwatch_event_cb callback);

#ifdef __cplusplus
}  // extern "C"
#endif

/* ---------------------------------------------------------------------------------------------------------------------
 * Detection statistics, for C++ callers built with the library's std::string
 */

#ifdef __cplusplus

/** Statistics of the last detection on one HDMI port. Owned and constructed by the caller. */
struct srcwatch_kpi_info_s {
    int hdmi_no;              /**< HDMI number: port index + 1 */
    int t;                    /**< duration of the detection in milliseconds, -1 when not recorded */
    std::string spd_vendor;   /**< vendor name of the SPD InfoFrame */
    std::string spd_product;  /**< product description of the SPD InfoFrame */
    std::string spd_extra;    /**< never written by the library */
    std::string result_first; /**< first text of the detection result */
};

extern "C" {

/**
 * Looks up the statistics entry of a port.
 *
 * Deliberately ends with SRCWATCH_ERROR_JSON for every entry that is found, with *info untouched: callers depend on it.
 * Use srcwatch_get_all_device_kpi_info().
 *
 * @param port  0 to 7, or 99.
 * @param info  Untouched; may be null.
 * @return SRCWATCH_ERROR_JSON, or SRCWATCH_ERROR_PORT when port is not 0 to 7 or 99.
 */
SRCWATCH_API int srcwatch_get_device_kpi_info(int port, srcwatch_kpi_info_s* info);

/**
 * Reads the statistics entries of the HDMI ports 0 to 7.
 *
 * @param infos  Array of eight records, or null, when the entries are only logged. Record i is untouched when port i
 * has no entry; texts that an entry does not have stay as they were.
 * @return SRCWATCH_OK, also without any entry; SRCWATCH_ERROR_JSON when an entry has a member of the wrong kind (what
 *         was assigned before stays assigned).
 */
SRCWATCH_API int srcwatch_get_all_device_kpi_info(srcwatch_kpi_info_s* infos);

}  // extern "C"

#endif

#endif
