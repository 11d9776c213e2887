// SPDX-License-Identifier: Apache-2.0
#include "Identity.h"

namespace srcwatch {

bool Identity::IsEmpty() const { return aksv.empty() && vendor.empty() && product.empty(); }

bool Identity::Matches(const Identity& other) const
{
    if (IsEmpty() || other.IsEmpty()) return IsEmpty() && other.IsEmpty();
    if (!aksv.empty() && aksv == other.aksv) return true;
    const bool named = !vendor.empty() || !product.empty();
    return named && vendor == other.vendor && product == other.product;
}

Identity IdentityOf(const Classification& classification)
{
    return Identity{classification.aksv, classification.manufacturerName, classification.modelName};
}

}  // namespace srcwatch
