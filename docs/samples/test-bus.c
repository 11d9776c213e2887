/* SPDX-License-Identifier: Apache-2.0 */
/* The tests of an application in C, on a bus of GLib's GTestDBus and with settings of their own: what its callback does
 * with an event, and what a stored record is to it. Uses no service: the test stores and announces itself. */
#include <gio/gio.h>
#include <glib/gstdio.h>
#include <srcwatch-api.h>
#include <string.h>
#include <vconf.h>

/* The application: keeps the name of the last device that was detected. */
static char shown[SRCWATCH_TEXT_SIZE + 1];

static void on_event(void* user_data, srcwatch_event_s* event)
{
    (void)user_data;
    if (event->type == SRCWATCH_EVENT_DETECTED) memcpy(shown, event->str_args[0], SRCWATCH_TEXT_SIZE);
}

/* An event, as a service announces it: ten numbers and three texts, with a tab after each. */
static void announce(GDBusConnection* bus, int type, const char* message)
{
    GError* error = NULL;
    g_dbus_connection_emit_signal(bus, NULL, "/org/nalto/tv/qdinfo", "org.nalto.tv.qdinfo", "qdinfo",
                                  g_variant_new("(is)", type, message), &error);
    g_assert_no_error(error);
}

static gboolean on_time_over(gpointer is_over)
{
    *(gboolean*)is_over = TRUE;
    return G_SOURCE_REMOVE;
}

static void test_event(void)
{
    gboolean is_over = FALSE;
    const guint limit = g_timeout_add_seconds(20, on_time_over, &is_over);
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, NULL, NULL);
    g_assert_nonnull(bus);
    g_assert_cmpint(srcwatch_register_event_callback(on_event, NULL), ==, 1);

    announce(bus, SRCWATCH_EVENT_DETECTED, "1\t3\t1\t0\t0\t0\t0\t0\t0\t0\tBDQ-900\tQuellon\tUNKNOWN\t");
    while (shown[0] == '\0' && !is_over) g_main_context_iteration(NULL, TRUE);

    g_assert_cmpstr(shown, ==, "BDQ-900");
    g_assert_cmpint(srcwatch_unregister_event_callback(on_event), ==, 1);
    g_source_remove(limit);
    g_object_unref(bus);
}

static void test_record(void)
{
    int type = 0;
    g_assert_cmpint(vconf_set_str("db/srcwatch-service/source-activity", "{\"activity\": [{\"DevType\": 3}]}"), ==, 0);

    g_assert_cmpint(srcwatch_get_product_type_name(0, &type), ==, SRCWATCH_OK);

    g_assert_cmpint(type, ==, SRCWATCH_DEVICE_DISC_PLAYER);
}

/* Before the first use of settings and bus. What the library reads while it is loaded, the number of inputs, would have
 * to be set before the program starts. */
static GTestDBus* set_up(const char* directory)
{
    GTestDBus* bus = g_test_dbus_new(G_TEST_DBUS_NONE);
    g_test_dbus_up(bus);
    g_setenv("DBUS_SYSTEM_BUS_ADDRESS", g_test_dbus_get_bus_address(bus), TRUE);
    g_setenv("SRCWATCH_STATE_DIR", directory, TRUE);
    g_setenv("SRCWATCH_RUN_DIR", directory, TRUE);
    return bus;
}

static void remove_directory(const char* path)
{
    GDir* directory = g_dir_open(path, 0, NULL);
    for (const char* name = g_dir_read_name(directory); name != NULL; name = g_dir_read_name(directory)) {
        char* file = g_build_filename(path, name, NULL);
        g_assert_cmpint(g_remove(file), ==, 0);
        g_free(file);
    }
    g_dir_close(directory);
    g_assert_cmpint(g_rmdir(path), ==, 0);
}

int main(int argc, char** argv)
{
    g_test_init(&argc, &argv, NULL);
    char* directory = g_dir_make_tmp("application-test-XXXXXX", NULL);
    g_assert_nonnull(directory);
    GTestDBus* bus = set_up(directory);
    g_test_add_func("/application/event", test_event);
    g_test_add_func("/application/record", test_record);

    const int result = g_test_run();

    g_test_dbus_stop(bus);
    g_object_unref(bus);
    remove_directory(directory);
    g_free(directory);
    return result;
}
