// SPDX-License-Identifier: Apache-2.0
//
// The identity of a device.
#ifndef SRCWATCH_DETECTION_IDENTITY_H
#define SRCWATCH_DETECTION_IDENTITY_H

#include "Classification.h"

#include <string>

namespace srcwatch {

/// What distinguishes a device from others; empty where it is not known.
struct Identity {
    std::string aksv;
    std::string vendor;   ///< of the SPD InfoFrame, compared together with the product
    std::string product;  ///< of the SPD InfoFrame
    std::string osdName;
    std::string vendorId;

    /// Returns true if both have the same AKSV or, unless both have one, if they have SPD names, an OSD name or a
    /// vendor id in common and differ in none of these that both have.
    bool Matches(const Identity& other) const;
};

/// Returns the identity of a device that was detected.
Identity IdentityOf(const Classification& classification);

}  // namespace srcwatch

#endif
