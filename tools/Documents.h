// SPDX-License-Identifier: Apache-2.0
//
// What is wrong with a document, a capture or a file of profiles.
#ifndef SRCWATCH_TOOLS_DOCUMENTS_H
#define SRCWATCH_TOOLS_DOCUMENTS_H

#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace ctl {

enum class DocumentKind { kUnknown, kActivity, kOptical, kStatistics, kProfiles, kCapture, kSpd, kCec, kAksv };

/// Name of a kind, as the command line and the JSON form have it.
const char* KindName(DocumentKind kind);

/// The kinds that have a name, but for the unknown one.
std::vector<std::string> KindNames();
DocumentKind ParseKind(const std::string& name);

struct DocumentFault {
    std::optional<int> line;  ///< from 1; nothing where the form has no lines
    std::string key;          ///< path of the member, or name of the file in a capture; empty for the whole
    std::string why;
};

struct Validation {
    DocumentKind kind;
    std::vector<DocumentFault> faults;
};

/// Examine a JSON text. A kind that is not known is guessed from what it looks like.
Validation ValidateText(const std::string& text, DocumentKind kind);

/// Examine a file, or the directory of a capture. Throws a Failure when it cannot be read.
Validation ValidateFile(const std::string& path, DocumentKind kind);

}  // namespace ctl

#endif
