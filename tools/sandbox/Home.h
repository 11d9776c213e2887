// SPDX-License-Identifier: Apache-2.0
//
// The directory that a sandbox lives in: configuration of TV and bus, socket, settings, inputs.
#ifndef SRCWATCH_SANDBOX_HOME_H
#define SRCWATCH_SANDBOX_HOME_H

#include "Installation.h"
#include "Options.h"

#include <string>

namespace sandbox {

/// Makes the empty directory. Throws std::system_error.
std::string MakeHome();

/// Fills it: configurations, directories, and links to the captures that are plugged in. Throws std::runtime_error.
void FillHome(const std::string& home, const Options& options);

/// Has this process, and what it starts, live there. Only the bus's address is not known yet.
void EnterHome(const std::string& home, const Options& options, const Installation& installation);

/// Removes the directory. Reports what stays.
void RemoveHome(const std::string& home);

/// @name What lies in a home
/// @{
inline std::string BusConfig(const std::string& home) { return home + "/bus.conf"; }
inline std::string BusErrors(const std::string& home) { return home + "/bus.errors"; }
inline std::string Inputs(const std::string& home) { return home + "/inputs"; }
inline std::string NotifySocket(const std::string& home) { return home + "/notify"; }
/// @}

}  // namespace sandbox

#endif
