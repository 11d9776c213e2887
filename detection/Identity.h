// SPDX-License-Identifier: Apache-2.0
//
// The identity of a device.
#ifndef SRCWATCH_DETECTION_IDENTITY_H
#define SRCWATCH_DETECTION_IDENTITY_H

#include "Classification.h"

#include <string>

namespace srcwatch {

/// What distinguishes a device from others: its AKSV, or vendor and product together.
struct Identity {
    std::string aksv;
    std::string vendor;
    std::string product;

    bool IsEmpty() const { return aksv.empty() && vendor.empty() && product.empty(); }
    /// Returns true if both have the same AKSV or the same vendor and product, or if both are empty.
    bool Matches(const Identity& other) const;
};

/// Returns the identity of a device that was detected.
Identity IdentityOf(const Classification& classification);

}  // namespace srcwatch

#endif
