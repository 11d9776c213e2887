/* SPDX-License-Identifier: Apache-2.0 */
/* An application with an event callback: prints the detection events of the TV until SIGINT or SIGTERM. */
#include <glib-unix.h>
#include <srcwatch-api.h>
#include <stdio.h>

static void PrintEvent(void* user_data, srcwatch_event_s* event)
{
    (void)user_data;
    switch (event->type) {
        case SRCWATCH_EVENT_CONNECTION:
            printf("port %d: %s\n", event->args[0], event->args[1] ? "plugged" : "unplugged");
            break;
        case SRCWATCH_EVENT_DETECTED:
            printf("port %d: detected type %d, '%s' of '%s'\n", event->args[0], event->args[1], event->str_args[0],
                   event->str_args[1]);
            break;
        case SRCWATCH_EVENT_SCAN_PROGRESS:
            printf("scan: %d %%, port %d\n", event->args[0], event->args[1]);
            break;
        case SRCWATCH_EVENT_SCAN_FINISHED:
            printf("scan: finished with %d, %d devices\n", event->args[0], event->args[1]);
            break;
        default:
            break;
    }
    fflush(stdout);
}

static gboolean End(gpointer loop)
{
    g_main_loop_quit(loop);
    return G_SOURCE_CONTINUE;
}

int main(void)
{
    GMainLoop* loop = g_main_loop_new(NULL, FALSE);
    g_unix_signal_add(SIGTERM, End, loop);
    g_unix_signal_add(SIGINT, End, loop);
    if (!srcwatch_register_event_callback(PrintEvent, NULL)) return 1;
    puts("waiting for events");
    fflush(stdout);
    g_main_loop_run(loop);
    srcwatch_unregister_event_callback(PrintEvent);
    g_main_loop_unref(loop);
    return 0;
}
