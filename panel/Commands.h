// SPDX-License-Identifier: Apache-2.0
//
// What pages may ask and command: the routes to whatever does it.
#ifndef SRCWATCH_PANEL_COMMANDS_H
#define SRCWATCH_PANEL_COMMANDS_H

#include "Inputs.h"
#include "KnownDevices.h"
#include "Router.h"
#include "ServiceCalls.h"

#include <functional>
#include <optional>

namespace panel {

/// Returns the port that a question is about; nothing if the TV has no such port.
std::optional<int> PortIn(const Request& request);

/// @name Adds the routes of one group
/// @{
void AddPages(Routes& routes);
void AddInputCommands(Routes& routes, const Inputs& inputs, const std::function<void()>& onChange);
void AddDeviceCommands(Routes& routes, const KnownDevices& devices);
void AddServiceCommands(Routes& routes, ServiceCalls& calls, const Inputs& inputs, const KnownDevices& devices);

/// Commands that go to the service through a setting: the library does not say whether anybody reads it.
struct ScanListener {
    std::function<bool()> hasService;
    std::function<void(bool isActive)> onOptical;
};
void AddScanCommands(Routes& routes, const ScanListener& listener);
/// @}

}  // namespace panel

#endif
