// SPDX-License-Identifier: Apache-2.0
#include "Identity.h"

#include <utility>

namespace srcwatch {

// Of devices of one model only the AKSV differs, and only it outlives a new name; the others name the model.
bool Identity::Matches(const Identity& other) const
{
    if (!aksv.empty() && !other.aksv.empty()) return aksv == other.aksv;
    using Names = std::pair<std::string, std::string>;
    const std::pair<Names, Names> kinds[] = {
        {{vendor, product}, {other.vendor, other.product}},
        {{osdName, ""}, {other.osdName, ""}},
        {{vendorId, ""}, {other.vendorId, ""}},
    };
    bool isCommon = false;
    for (const auto& [mine, theirs] : kinds) {
        if (mine == Names() || theirs == Names()) continue;
        if (mine != theirs) return false;
        isCommon = true;
    }
    return isCommon;
}

Identity IdentityOf(const Classification& classification)
{
    return Identity{classification.aksv, classification.manufacturerName, classification.modelName,
                    classification.cecName, classification.vendorId};
}

}  // namespace srcwatch
