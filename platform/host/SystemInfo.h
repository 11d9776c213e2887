// SPDX-License-Identifier: Apache-2.0
// What is wrong with the key file of the system information.
#ifndef SRCWATCH_HOST_SYSTEMINFO_H
#define SRCWATCH_HOST_SYSTEMINFO_H

#include <string>

namespace host {

/// Returns why the number of HDMI inputs could not be read from the file, which is there.
std::string FindFaultOfInputs();

}  // namespace host

#endif
