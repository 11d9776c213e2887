// SPDX-License-Identifier: Apache-2.0
//
// What tells one device from another.
#ifndef SRCWATCH_DETECTION_IDENTITY_H
#define SRCWATCH_DETECTION_IDENTITY_H

#include "Classification.h"

#include <string>

namespace srcwatch {

/// What tells one device from another: its AKSV, or vendor and product together.
struct Identity {
    std::string aksv;
    std::string vendor;
    std::string product;

    bool IsEmpty() const;
    /// Whether both are the same device, as far as can be told: the same AKSV or the same vendor and product.
    bool Matches(const Identity& other) const;
};
Identity IdentityOf(const Classification& classification);

}  // namespace srcwatch

#endif
