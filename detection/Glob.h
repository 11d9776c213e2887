// SPDX-License-Identifier: Apache-2.0
//
// Globs (fnmatch) of '*', '?' and '[...]' without regard to case; a backslash stands for itself.
#ifndef SRCWATCH_DETECTION_GLOB_H
#define SRCWATCH_DETECTION_GLOB_H

#include <cstddef>
#include <string>

namespace srcwatch {

bool MatchesGlob(const std::string& glob, const std::string& text);

/// Returns a length below which no text matches. It is exact unless the glob has sets.
std::size_t ShortestMatch(const std::string& glob);

/// Returns true if every text that matches the second glob matches the first. If one of them has sets, or if one '*' of
/// the second would have to be matched in parts, that may remain unseen.
bool Covers(const std::string& wide, const std::string& narrow);

}  // namespace srcwatch

#endif
