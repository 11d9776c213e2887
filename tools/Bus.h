// SPDX-License-Identifier: Apache-2.0
//
// The system bus, as far as the event channel needs no library for it.
#ifndef SRCWATCH_TOOLS_BUS_H
#define SRCWATCH_TOOLS_BUS_H

#include "Handle.h"

#include <optional>
#include <string>

#include <gio/gio.h>

namespace ctl {

using Connection = srcwatch::Handle<GDBusConnection, g_object_unref>;

/// Connect to the system bus. Throws a Failure that names the bus and the reason. It is the process's shared
/// connection, which the library uses too; the process outlives it.
Connection ConnectBus();

/// Who owns a bus name.
struct BusOwner {
    std::string uniqueName;
    std::optional<unsigned> pid;
    std::optional<unsigned> uid;
};

/// The owner of the detection service's name, or nothing. Throws a Failure when the bus does not answer.
std::optional<BusOwner> ServiceOwner(GDBusConnection* connection);

/// Throws a Failure when there is no detection service.
void RequireService(GDBusConnection* connection);

/// Wait until the bus has done what it was asked on this connection: from then on, a subscription made before is in
/// force. Throws a Failure when the bus does not answer.
void SyncWithBus(GDBusConnection* connection);

}  // namespace ctl

#endif
