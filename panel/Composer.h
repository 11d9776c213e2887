// SPDX-License-Identifier: Apache-2.0
//
// Devices of a form's fields: the files of a capture in which a device says just that about itself.
#ifndef SRCWATCH_PANEL_COMPOSER_H
#define SRCWATCH_PANEL_COMPOSER_H

#include "Capture.h"

#include <optional>
#include <string>

#include <json/value.h>

namespace panel {

/// A device, or the reason for which there is none.
struct ComposedDevice {
    std::optional<srcwatch::Capture> capture;
    std::string reason;
};

/// Composes {vendor, product: text of the SPD InfoFrame; source_information: its code; osd: OSD name of HDMI-CEC;
/// device_type: its primary device type; aksv: text in hexadecimal digits}. All may be absent, but not each of them.
ComposedDevice ComposeDevice(const Json::Value& form);

}  // namespace panel

#endif
