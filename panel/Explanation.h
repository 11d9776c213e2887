// SPDX-License-Identifier: Apache-2.0
//
// The way from what the device on a port says to what each function of the library answers about it.
#ifndef SRCWATCH_PANEL_EXPLANATION_H
#define SRCWATCH_PANEL_EXPLANATION_H

#include "Capture.h"
#include "KnownDevices.h"

#include <json/value.h>

namespace panel {

/// Returns the document that 'srcwatchctl explain' has for a port. @param device  What is on it; may be empty.
Json::Value Explain(int port, const srcwatch::Capture& device, const KnownDevices& devices);

}  // namespace panel

#endif
