// SPDX-License-Identifier: Apache-2.0
//
// Names of captures and recordings, as requests have them.
#ifndef SRCWATCH_PANEL_NAMES_H
#define SRCWATCH_PANEL_NAMES_H

#include <string>

namespace panel {

/// Returns true if a name is that of a file or directory in the directory where it is looked for, and not hidden.
bool IsPlainName(const std::string& name);

}  // namespace panel

#endif
