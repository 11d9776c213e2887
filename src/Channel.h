// SPDX-License-Identifier: Apache-2.0
//
// A channel on the bus: its address, the body of its messages, sending and subscribing. No log.
#ifndef SRCWATCH_CHANNEL_H
#define SRCWATCH_CHANNEL_H

#include "Handle.h"
#include "SystemBus.h"

#include <string>

#include <gio/gio.h>

namespace qdinfo {

/// The address of a channel. Its interface is named like its bus name, its method and signal like the channel.
struct Address {
    explicit Address(const std::string& channel) : path("/org/nalto/tv/" + channel), busName("org.nalto.tv." + channel)
    {
    }

    std::string path;
    std::string busName;
};

constexpr char kNoMemory[] = "no memory for the message";  // which is empty then

using Variant = srcwatch::Handle<GVariant, g_variant_unref>;

inline Variant EventBody(int type, const std::string& message)
{
    return Variant(g_variant_ref_sink(g_variant_new("(is)", type, message.c_str())));
}

/// Queues an event as a signal, which a flush sends.
inline bool Emit(GDBusConnection* connection, const Address& address, const std::string& channel, int type,
                 const std::string& message, Error& error)
{
    if (message.empty()) error.SetReason(kNoMemory);
    SystemBus::WillQueue(message.size());
    const bool isQueued =
        !message.empty() &&
        g_dbus_connection_emit_signal(connection, nullptr, address.path.c_str(), address.busName.c_str(),
                                      channel.c_str(), EventBody(type, message).get(), error.Out()) != FALSE;
    if (isQueued) SystemBus::FlushAtExit(connection);
    return isQueued;
}

inline unsigned Subscribe(GDBusConnection* connection, const std::string& channel, GDBusSignalCallback handler,
                          void* receiver)
{
    const Address address(channel);
    return g_dbus_connection_signal_subscribe(connection, nullptr, address.busName.c_str(), channel.c_str(),
                                              address.path.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE, handler,
                                              receiver, nullptr);
}

}  // namespace qdinfo

#endif
