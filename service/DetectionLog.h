// SPDX-License-Identifier: Apache-2.0
//
// The file of detections: a line of JSON for each, for those who look at many TVs.
#ifndef SRCWATCH_SERVICE_DETECTIONLOG_H
#define SRCWATCH_SERVICE_DETECTIONLOG_H

#include "DetectionLine.h"

#include <string>
#include <utility>

namespace srcwatch {

/// Appends lines to a file, never waits for it, and opens it for each line, so that it may be renamed or removed at any
/// time. A line that cannot be written is lost; the log says so once, until one can be written again.
class DetectionLog {
public:
    /// @param path  Empty for no lines, "-" for standard output.
    DetectionLog(std::string path, Origin origin) : m_path(std::move(path)), m_origin(std::move(origin)) {}

    /// Writes the next lines elsewhere, or as another TV's.
    void Redirect(std::string path, Origin origin);

    void Write(const Detection& detection);

private:
    std::string m_path;
    Origin m_origin;
    std::string m_complaint;
};

}  // namespace srcwatch

#endif
