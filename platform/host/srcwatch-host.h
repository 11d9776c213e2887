/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * What the host platform offers beside the platform interfaces: watching and listing settings, what is wrong with them,
 * and the state of the simulated TV service. For the reference service and the tools; the library itself never uses it.
 * Another platform may have any of these functions; a program that is to work there looks whether they are there.
 *
 * All functions are callable from any thread, while libraries load, in exit handlers, and in a forked child. Results
 * are 0 for success and negative otherwise; failures are logged, repeated ones once.
 *
 * On this platform, vconf_get_int() returns why it reads nothing: -ENOENT for an absent setting, -EPROTOTYPE for a
 * text, and another negative value if the store cannot be read: -ENOTSUP if a later version of this software created
 * it. A key or a text of more than 1 MiB is refused with -E2BIG; a text of that size that an earlier version stored is
 * not read either, stays until it is written or removed, and makes vconf_get_int() return -E2BIG.
 *
 * A setting is read and written in microseconds (a durable write: as long as the disk takes), or fails after about one
 * second in which other processes kept its database locked; for two seconds after that, calls that meet a lock fail
 * after some milliseconds, so that a main loop is not held up by each. A damaged database is moved aside (its name gets
 * ".damaged-" and the time), and a new one is made of what is readable in it, and in the last good copy.
 */
#ifndef SRCWATCH_HOST_H
#define SRCWATCH_HOST_H

#include <stdbool.h>
#include <stddef.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The value of a setting. */
typedef struct srcwatch_host_value {
    const char* text; /**< the text of a text setting; null for an integer setting */
    int number;       /**< the value of an integer setting */
    size_t unread;    /**< the size of a text that is too large to be read, in whose place text is empty; or 0 */
} srcwatch_host_value;

/**
 * Called for a setting.
 *
 * @param key        Valid only during the call.
 * @param value      Valid only during the call; null if the setting was removed.
 * @param user_data  As given to the function that calls back.
 */
typedef void (*srcwatch_host_setting_cb)(const char* key, const srcwatch_host_value* value, void* user_data);

/**
 * Calls back for every write to a setting, by any process, from now on, in the order of the writes of its store. Two
 * quick writes cause two calls; a write of the value that was there causes one, too.
 *
 * The last 1024 writes (fewer when their texts exceed 2 MiB) of a store are kept for this. A watch whose main context
 * did not run for longer goes on with those that are left, and a log line says how many were missed. If the store was
 * replaced, the watch reports the new one from its beginning. A forked child inherits no watch.
 *
 * @param key        The setting's key; null for all settings.
 * @param callback   Runs in the GLib main context that is thread-default here. It may use every function of this
 *                   header and of the settings store, and may remove its own watch.
 * @param user_data  Passed on; not owned.
 * @return Id of the watch, or 0 on failure.
 */
unsigned srcwatch_host_watch_setting(const char* key, srcwatch_host_setting_cb callback, void* user_data);

/**
 * Calls back when the settings, durable or volatile, are another database than before: a damaged one was recovered, or
 * it was deleted or replaced while in use. Settings may be missing then, or older.
 *
 * @param callback   As of srcwatch_host_watch_setting(); called before the changes in the new database are reported.
 * @param user_data  Passed on; not owned.
 * @return Id of the watch, or 0 on failure.
 */
unsigned srcwatch_host_watch_replacement(void (*callback)(void* user_data), void* user_data);

/**
 * Ends a watch, in the thread whose main context it runs in; its callback is not called any more. Watches also end with
 * their main context. Unknown ids are ignored.
 */
void srcwatch_host_unwatch_setting(unsigned id);

/** Calls back for each stored setting, in the order of the keys. @return 0 or a negative value. */
int srcwatch_host_list_settings(srcwatch_host_setting_cb callback, void* user_data);

/** Removes a setting; reading it fails from then on. @return 0 (also if it is absent) or a negative value. */
int srcwatch_host_unset(const char* key);

/**
 * Checks the settings, without a change to them. (Damage that keeps them from being read at all is recovered all the
 * same, as by any other call.)
 *
 * @return 0 if they are sound, -EUCLEAN if they are damaged, or another negative value if that is not known.
 */
int srcwatch_host_check_settings(void);

/**
 * Checks the settings, and recovers them if they are damaged. If only the volatile ones are, the last good copy of the
 * durable ones is made first.
 *
 * @return 0 if they are sound now, or a negative value.
 */
int srcwatch_host_repair_settings(void);

/**
 * Copies the durable settings, as they are at one moment, to a file of their own, which takes the place of the file
 * that is there when it is complete. A damaged store is recovered first.
 *
 * @return 0 or a negative errno value.
 */
int srcwatch_host_back_up_settings(const char* path);

/**
 * Makes the durable settings those of a backup, in one step: others are removed. Watches report each difference. Not to
 * be done while the detection service runs, which writes what it knows.
 *
 * @return 0 or a negative errno value, with the settings unchanged: -EUCLEAN if the backup is damaged, -ENOTSUP if it
 * is of a later version of this software, -EINVAL if it is no backup of settings.
 */
int srcwatch_host_restore_settings(const char* path);

/** Returns where the last good copy of the durable settings belongs, which a recovery uses. Owned by the platform. */
const char* srcwatch_host_copy_path(void);

/** What a check of the platform found. The texts are for people, and valid only during the call. */
typedef struct srcwatch_host_finding {
    const char* check;  /**< a name for the check: small letters and hyphens */
    const char* detail; /**< what is so: the cause, if anything is wrong */
    const char* remedy; /**< what a person can do about it; null if nothing is wrong */
} srcwatch_host_finding;

/**
 * Finds out what is wrong with the platform, why, and what helps: its configuration, and what its settings need. A
 * setting of its own is written and removed again. That takes some seconds if others keep the settings locked. As it
 * asks for the names of users, it is for one thread at a time, and not while libraries load.
 *
 * @param service_user  Who runs the detection service, and is to be able to use the settings like the user of this
 *                      process; -1 if that is not known.
 * @param callback      Called for each check, causes before what they cause.
 * @param user_data     Passed on to the callback; not owned.
 * @return 0, whatever is found, or a negative value if not all checks were made.
 */
int srcwatch_host_examine(uid_t service_user, void (*callback)(const srcwatch_host_finding* finding, void* user_data),
                          void* user_data);

/** Sets whether a cable is connected to an external source of the simulated TV service. @return 0 or negative. */
int srcwatch_host_set_connected(int source_id, bool connected);

/** Returns the directory of the durable settings, created if missing; null on failure. Owned by the platform. */
const char* srcwatch_host_state_dir(void);

/** Returns the directory of the volatile settings, created if missing; null on failure. Owned by the platform. */
const char* srcwatch_host_run_dir(void);

/** Returns the path of the platform's configuration file, whether it exists or not. Owned by the platform. */
const char* srcwatch_host_conf_path(void);

/**
 * Decides where the log of a program goes. A program may define this function (exported, as it is looked up by its
 * name); the platform does not.
 *
 * It is called before the first line is written, which is while libraries load: before main() and before the program's
 * own constructors, so it must not use what those set up, and it must not log. Several threads may call it.
 *
 * @return What SRCWATCH_LOG can say ("none", "stderr", "journal", "file:PATH"), which is then not looked at; null to
 *         leave the decision to SRCWATCH_LOG. The text must stay valid.
 */
const char* srcwatch_host_log_sink(void);

#ifdef __cplusplus
}
#endif

#endif
