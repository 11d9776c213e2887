// SPDX-License-Identifier: Apache-2.0
//
// Files that a command is given, with failures as exceptions.
#ifndef SRCWATCH_TOOLS_FILES_H
#define SRCWATCH_TOOLS_FILES_H

#include <cstddef>
#include <string>

namespace ctl {

/// The most bytes of a document that a command reads.
constexpr std::size_t kDocumentLimit = 16UL * 1024 * 1024;

/// Returns the bytes of a file. Throws a Failure if there is none, or if it cannot be read or has more than the limit.
std::string ReadFile(const std::string& path, std::size_t limit);

}  // namespace ctl

#endif
