// SPDX-License-Identifier: Apache-2.0
//
// HDMI-CEC messages in the forms that other programs write: cec-ctl --monitor, with or without --show-raw and
// --verbose, and the traffic log of libcec's cec-client.
#ifndef SRCWATCH_DETECTION_CECIMPORT_H
#define SRCWATCH_DETECTION_CECIMPORT_H

#include "Decoded.h"

#include <cstddef>
#include <string>

namespace srcwatch {

struct ImportedLog {
    std::string text;  ///< a CEC log, one message a line
    std::size_t messages = 0;
};

/// Returns the messages that the program received; those that it sent are its own, and no device's. A text is refused
/// if it has none. Lines of other kinds are passed over; remarks are on messages that cannot be used.
Decoded<ImportedLog> ImportCecLog(const std::string& text);

}  // namespace srcwatch

#endif
