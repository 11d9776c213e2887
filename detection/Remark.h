// SPDX-License-Identifier: Apache-2.0
//
// What is found about the bytes of a device, as data. It becomes prose only where it is shown.
#ifndef SRCWATCH_DETECTION_REMARK_H
#define SRCWATCH_DETECTION_REMARK_H

#include <string>
#include <vector>

namespace srcwatch {

struct Remark {
    std::string file;  ///< in the device's directory; empty for the directory itself, and for bytes without a name
    int line;          ///< from 1; 0 when it is about no line
    std::string text;  ///< one line of ASCII
};
using Remarks = std::vector<Remark>;

/// Remarks about one file in one line. Of many it has the first few and the number of the others.
std::string InOneLine(const Remarks& remarks);

}  // namespace srcwatch

#endif
