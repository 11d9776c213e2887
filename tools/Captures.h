// SPDX-License-Identifier: Apache-2.0
//
// Captures on disk: directories with the files of a device.
#ifndef SRCWATCH_TOOLS_CAPTURES_H
#define SRCWATCH_TOOLS_CAPTURES_H

#include "Capture.h"

#include <optional>
#include <string>
#include <vector>

namespace ctl {

/// Environment variable of the directory of the captures that have a name.
constexpr const char* kCapturesVariable = "SRCWATCH_CAPTURES";

/// Asks the running service for what the device on a port says. Returns nothing if none runs, or there is nothing.
std::optional<srcwatch::Capture> AskForCapture(int port);

/// Makes a directory with the files of a capture. Throws a Failure if it exists or cannot be written.
void SaveCapture(const std::string& directory, const srcwatch::Capture& capture);

/// Returns the captures of a directory: itself if it has a file of a device, otherwise its subdirectories that have
/// one, in the order of their names. Throws a Failure if it cannot be read or there is none.
std::vector<std::string> FindCaptures(const std::string& directory);

}  // namespace ctl

#endif
