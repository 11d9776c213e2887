// SPDX-License-Identifier: Apache-2.0
//
// A plain GLib program with the C++ interface: prints which devices are plugged in, and which come and go, until SIGINT
// or SIGTERM.
#include <iostream>

#include <glib-unix.h>
#include <srcwatch.hpp>

namespace {

void Show(const srcwatch::Result<srcwatch::Device>& device)
{
    if (!device) {
        std::cerr << to_string(device.error()) << std::endl;
    } else if (device->is_present()) {
        std::cout << "port " << device->port << ": " << device->name << " (" << to_string(device->type) << ")"
                  << std::endl;
    }
}

void Handle(const srcwatch::Event& event)
{
    if (const auto* detected = std::get_if<srcwatch::Detected>(&event)) Show(srcwatch::device(detected->port));
    const auto* connection = std::get_if<srcwatch::ConnectionChanged>(&event);
    if (connection != nullptr && !connection->plugged)
        std::cout << "port " << connection->port << ": unplugged" << std::endl;
}

gboolean End(gpointer loop)
{
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

}  // namespace

int main()
{
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    g_unix_signal_add(SIGTERM, End, loop);
    g_unix_signal_add(SIGINT, End, loop);
    const auto subscription = srcwatch::subscribe(Handle);
    if (!subscription) return 1;
    for (int port = 0; port < get_hdmi_count(); ++port) Show(srcwatch::device(port));
    Show(srcwatch::device(srcwatch::optical_port));
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
    return 0;
}
