// SPDX-License-Identifier: Apache-2.0
//
// Where the lines of detections come from.
#ifndef SRCWATCH_FLEET_ORIGIN_H
#define SRCWATCH_FLEET_ORIGIN_H

#include <string>

namespace srcwatch {

/// Who reports; empty where it is not known.
struct Origin {
    std::string tv;
    std::string firmware;
    std::string aksvKey;  ///< the secret with which AKSVs are hashed; they are left out without one
};

/// Returns what is wrong with the id of a TV, or with the version of its firmware; empty if nothing is.
std::string CheckOriginText(const std::string& text);

/// Returns an id of this machine from which its machine-id(5) cannot be found out; empty without one.
std::string DefaultTv();

/// Returns the version in os-release(5): that of the image, else that of the system; empty without one.
std::string DefaultFirmware();

/// A key, or why there is none.
struct AksvKey {
    std::string key;
    std::string failure;
};

/// Reads a key from a file of 16 to 4096 bytes.
AksvKey ReadAksvKey(const std::string& path);

}  // namespace srcwatch

#endif
