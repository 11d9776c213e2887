// SPDX-License-Identifier: Apache-2.0
//
// A few small files as one, in the form that tar reads.
#ifndef SRCWATCH_PANEL_TAR_H
#define SRCWATCH_PANEL_TAR_H

#include <optional>
#include <string>
#include <vector>

namespace panel {

struct TarFile {
    std::string name;
    std::string bytes;
};

/// Returns an archive of files. Returns nothing if it cannot be made.
std::optional<std::string> PackTar(const std::vector<TarFile>& files);

}  // namespace panel

#endif
