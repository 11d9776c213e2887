// SPDX-License-Identifier: Apache-2.0
//
// The evidence in the directory of one input: its files, read within bounds and decoded.
#ifndef SRCWATCH_DETECTION_EVIDENCE_H
#define SRCWATCH_DETECTION_EVIDENCE_H

#include "CecLog.h"
#include "Decoded.h"
#include "SpdInfoFrame.h"
#include "Topology.h"

#include <optional>
#include <string>
#include <vector>

namespace srcwatch {

/// Names of the files of a device's directory. Nothing else in it is read.
constexpr const char* kSpdFile = "spd.bin";
constexpr const char* kCecFile = "cec.log";
constexpr const char* kAksvFile = "aksv.bin";
constexpr const char* kEdidFile = "edid.bin";  // may be there, is not read

/// The items of evidence: each absent, decoded, or refused.
struct Evidence {
    Remarks directory;  ///< why the whole directory cannot be read; otherwise empty
    std::optional<Decoded<SpdInfoFrame>> spd;
    std::optional<Decoded<CecLog>> cec;
    std::optional<Decoded<std::string>> aksv;
    Remarks otherFiles;            ///< one remark on all files of other names
    bool isComplete = true;        ///< false if something could not be read that may be readable later
    int hdmiInput = kNoHdmiInput;  ///< 1 for the first

    /// Returns what the device on the port has sent over HDMI-CEC, or null; and the devices behind it.
    const CecDevice* CecDeviceOnPort() const;
    std::vector<CecDevice> CecDevicesBehind() const;

    /// Returns all remarks, file by file.
    Remarks AllRemarks() const;
    /// Returns true if nothing of a file was used, or of the whole directory if the name is empty.
    bool IsRefused(const std::string& file) const;
};

/// The largest sizes of what is read, in bytes: far above what a device sends, far below what could hurt. Of a longer
/// CEC log the end is read.
constexpr std::size_t kBinaryLimit = 256;
constexpr std::size_t kCecLimit = 64UL * 1024;

/// What becomes of a file that is too large.
enum class Excess { kRefused, kKeepsEnd };

/// Returns true if an error of the system may pass by itself: it says nothing about what was to be read.
bool IsTransient(int error);

/// Reads a file. Returns nothing if it does not exist; it is refused if it is not a regular file, too large, or cannot
/// be read.
std::optional<Decoded<Bytes>> ReadBoundedFile(const std::string& path, std::size_t limit,
                                              Excess excess = Excess::kRefused);

/// Reads and decodes the evidence in a directory, which is plugged into an HDMI input (1 for the first).
Evidence ReadEvidence(const std::string& directory, int hdmiInput = kNoHdmiInput);

}  // namespace srcwatch

#endif
