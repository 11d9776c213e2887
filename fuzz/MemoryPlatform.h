// SPDX-License-Identifier: Apache-2.0
//
// A platform for targets that contain the library: texts in memory, log lines formatted and dropped, and as many HDMI
// inputs as SRCWATCH_FUZZ_HDMI says, four otherwise.
#ifndef SRCWATCH_FUZZ_MEMORYPLATFORM_H
#define SRCWATCH_FUZZ_MEMORYPLATFORM_H

#include "QDInfoNames.h"

#include <map>
#include <string>

namespace fuzz {

/// The text settings.
std::map<std::string, std::string>& Texts();

int HdmiCount();

}  // namespace fuzz

#endif
