// SPDX-License-Identifier: Apache-2.0
//
// Remarks on the bytes of a device, as data. They become prose only where they are shown.
#ifndef SRCWATCH_DETECTION_REMARK_H
#define SRCWATCH_DETECTION_REMARK_H

#include <string>
#include <vector>

namespace srcwatch {

struct Remark {
    std::string file;  ///< in the device's directory; empty for the directory itself, and for bytes without a name
    int line;          ///< from 1; 0 for the whole
    std::string text;  ///< one line of ASCII
};
using Remarks = std::vector<Remark>;

/// Returns the only remark, on the whole.
Remarks OnlyRemark(std::string text);

/// Returns the remarks about one file in one line: the first few, and the number of the others.
std::string InOneLine(const Remarks& remarks);

/// Returns a text for a log line: all but printable ASCII is escaped, and it is cut after 200 characters.
std::string Printable(const std::string& text);

}  // namespace srcwatch

#endif
