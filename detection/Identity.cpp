// SPDX-License-Identifier: Apache-2.0
#include "Identity.h"

namespace srcwatch {

bool Identity::Matches(const Identity& other) const
{
    if (IsEmpty() || other.IsEmpty()) return IsEmpty() && other.IsEmpty();
    if (!aksv.empty() && aksv == other.aksv) return true;
    const bool isNamed = !vendor.empty() || !product.empty();
    return isNamed && vendor == other.vendor && product == other.product;
}

Identity IdentityOf(const Classification& classification)
{
    return Identity{classification.aksv, classification.manufacturerName, classification.modelName};
}

}  // namespace srcwatch
