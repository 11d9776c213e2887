// SPDX-License-Identifier: Apache-2.0
//
// What is wrong with a document, a capture or a file of profiles.
#ifndef SRCWATCH_TOOLS_DOCUMENTS_H
#define SRCWATCH_TOOLS_DOCUMENTS_H

#include "Inspection.h"

#include <optional>
#include <string>
#include <vector>

namespace ctl {

enum class DocumentKind { kUnknown, kActivity, kOptical, kStatistics, kProfiles, kCapture, kSpd, kCec, kAksv };

/// Name of a kind, as the command line and the JSON form have it.
const char* KindName(DocumentKind kind);

/// The kinds that have a name, but for the unknown one.
std::vector<std::string> KindNames();
DocumentKind ParseKind(const std::string& name);

struct Validation {
    DocumentKind kind;
    std::vector<srcwatch::Finding> faults;  ///< their keys are paths of members, or names of files in a capture
    std::optional<bool> readable;           ///< whether the library reads a stored document in spite of its faults
};

/// Examine a file, or the directory of a capture; a kind that is not known is guessed. Throws a Failure when it cannot
/// be read.
Validation ValidateFile(const std::string& path, DocumentKind kind);

}  // namespace ctl

#endif
