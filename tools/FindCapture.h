// SPDX-License-Identifier: Apache-2.0
//
// A capture that the command line names.
#ifndef SRCWATCH_TOOLS_FINDCAPTURE_H
#define SRCWATCH_TOOLS_FINDCAPTURE_H

#include <string>

namespace ctl {

/// Returns the path, without links, of a directory, or of the one of this name among the captures. Throws a Failure if
/// there is none.
std::string FindCapture(const std::string& capture, const std::string& captures);

}  // namespace ctl

#endif
