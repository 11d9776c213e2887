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

namespace srcwatch {

/// Names of the files of a device's directory. Nothing else in it is read.
constexpr const char* kSpdFile = "spd.bin";
constexpr const char* kCecFile = "cec.log";
constexpr const char* kAksvFile = "aksv.bin";
constexpr const char* kEdidFile = "edid.bin";  // may lie there, is not read

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

    std::optional<Remark> otherFiles;

    /// All that there is to remark, file by file; about files of other names at most once.
    Remarks AllRemarks() const;
    /// Whether nothing of a file was used, or of the whole directory when the name is empty.
    bool IsRefused(const std::string& file) const;
};

/// What there is to remark about an item, whether it was refused or used.
Remarks RemarksOn(const Decoded<SpdInfoFrame>& item);
Remarks RemarksOn(const Decoded<CecLog>& item);
Remarks RemarksOn(const Decoded<std::string>& item);

/// The most bytes of a file that are read: far above what a device sends, far below what could hurt.
constexpr std::size_t kBinaryLimit = 256;
constexpr std::size_t kCecLimit = 64UL * 1024;

/// Read one file. Nothing when there is none; refused when it is no regular file, too large, or cannot be read.
std::optional<Decoded<Bytes>> ReadBoundedFile(const std::string& path, std::size_t limit);

/// Read and decode the evidence in a directory. Files of other names are remarked on.
Evidence ReadEvidence(const std::string& directory);

/// A text for a log line: whatever is no printable ASCII is escaped, and it is cut after 200 characters.
std::string Printable(const std::string& text);

}  // namespace srcwatch

#endif
