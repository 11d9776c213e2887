// SPDX-License-Identifier: Apache-2.0
//
// The system bus, and the detection service on it.
#ifndef SRCWATCH_TOOLS_BUS_H
#define SRCWATCH_TOOLS_BUS_H

#include "Handle.h"
#include "srcwatch-api.h"

#include <optional>
#include <string>

#include <gio/gio.h>
#include <json/value.h>

namespace ctl {

using Connection = srcwatch::Handle<GDBusConnection, g_object_unref>;

/// Connects to the system bus. Throws a Failure that names the bus and the reason. It is the process's shared
/// connection, which the library uses too; the process outlives it.
Connection ConnectBus();

/// The owner of a bus name.
struct BusOwner {
    std::string uniqueName;
    std::optional<unsigned> pid;
    std::optional<unsigned> uid;
};

/// Returns the owner of the detection service's name, or nothing. Throws a Failure if the bus does not answer.
std::optional<BusOwner> ServiceOwner(GDBusConnection* connection);

/// What became of a question to the service.
enum class ServiceAnswer {
    kAnswered,
    kDenied,  ///< by the bus's policy: this user may not call the service
    kSilent,  ///< no answer in time
    kGone     ///< the service left the bus
};

/// Asks the service for its status and waits for the answer, for at most this time.
ServiceAnswer AskService(GDBusConnection* connection, int milliseconds);

/// @name The same without waiting; the callback runs in the main loop
/// @{
void BeginAskService(GDBusConnection* connection, int milliseconds, GCancellable* cancellable,
                     GAsyncReadyCallback callback, void* user_data);
ServiceAnswer EndAskService(GDBusConnection* connection, GAsyncResult* result);
/// @}

/// Throws a Failure, with a code of its own, if no detection service is running.
void RequireService(GDBusConnection* connection);
/// The same for a command that does not use the bus otherwise.
void RequireService();

/// The same for a command that the service hears as the write of a setting. Throws a Failure if it reports that it
/// cannot receive any; it is asked where the platform does not report writes to this program either.
void RequireHearingService(GDBusConnection* connection);
void RequireHearingService();

/// Waits until the bus has handled all that was sent on this connection: from then on, a subscription made before is in
/// force. Throws a Failure if the bus does not answer.
void SyncWithBus(GDBusConnection* connection);

/// Calls the service and returns its reply. Throws a Failure if there is no service, no bus or no reply in time.
std::string CallService(int type, const srcwatch_event_s& request, const std::string& extra);

/// Returns the JSON value of a reply; null if it is not JSON. Throws a Failure with the service's words if it refuses.
Json::Value ParseReply(const std::string& reply);

}  // namespace ctl

#endif
