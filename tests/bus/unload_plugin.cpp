// SPDX-License-Identifier: Apache-2.0
//
// A part of a program that is loaded while it runs, and the only one that is linked with the library.
#include "QDInfoEventManager.h"
#include "srcwatch-api.h"

extern "C" __attribute__((visibility("default"))) void UseLibrary(void);

// Leaves what the library keeps for each thread, and what it left with GLib.
extern "C" void UseLibrary(void)
{
    char name[SRCWATCH_TEXT_SIZE + 1];
    static_cast<void>(srcwatch_get_cec_name(name, 0));

    const srcwatch_event_cb callback = [](void*, srcwatch_event_s*) {};
    static_cast<void>(srcwatch_register_event_callback(callback, nullptr));
    qdinfo::CQDEventSender("").SendEvent(10);
    static_cast<void>(srcwatch_unregister_event_callback(callback));
    qdinfo::CQDEventReciever("", true).RegisterEventCallback(10, callback, nullptr);
}
