// SPDX-License-Identifier: Apache-2.0
//
// What lies in the directory of one input: its files, read within bounds and decoded.
#ifndef SRCWATCH_DETECTION_EVIDENCE_H
#define SRCWATCH_DETECTION_EVIDENCE_H

#include "CecLog.h"
#include "Decoded.h"
#include "SpdInfoFrame.h"

#include <optional>
#include <string>
#include <vector>

namespace srcwatch {

/// Names of the files of a device's directory. Nothing else in it is read.
constexpr const char* kSpdFile = "spd.bin";
constexpr const char* kCecFile = "cec.log";
constexpr const char* kAksvFile = "aksv.bin";
constexpr const char* kEdidFile = "edid.bin";  // may lie there, is not read

/// A line to log about a file, or about the directory when the file is empty.
struct EvidenceRemark {
    std::string file;
    std::string reason;
};

/// The items of evidence: each absent, decoded, or refused.
struct Evidence {
    std::optional<Fault> directory;  ///< why nothing at all could be read
    std::optional<Decoded<SpdInfoFrame>> spd;
    std::optional<Decoded<CecLog>> cec;
    std::optional<Decoded<std::string>> aksv;

    /// The decoded item, or null when it is absent or refused.
    const SpdInfoFrame* Spd() const { return spd ? ValueOf(*spd) : nullptr; }
    const CecLog* Cec() const { return cec ? ValueOf(*cec) : nullptr; }
    const std::string* Aksv() const { return aksv ? ValueOf(*aksv) : nullptr; }

    std::optional<EvidenceRemark> otherFiles;

    /// What is to be logged: one line for each file that was refused or only partly used, one for all other files.
    std::vector<EvidenceRemark> Remarks() const;
};

/// Read one file. Nothing when there is none; refused when it is no regular file, too large, or cannot be read.
std::optional<Decoded<Bytes>> ReadBoundedFile(const std::string& path, std::size_t limit);

/// Read and decode the evidence in a directory. Files of other names are remarked on.
Evidence ReadEvidence(const std::string& directory);

/// A text for a log line: whatever is no printable ASCII is escaped, and it is cut after 200 characters.
std::string Printable(const std::string& text);

}  // namespace srcwatch

#endif
