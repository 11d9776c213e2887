// SPDX-License-Identifier: Apache-2.0
//
// What a decoder returns: a value, or none if it refuses the bytes, and what it remarks on them. Decoders are pure
// functions of bytes.
#ifndef SRCWATCH_DETECTION_DECODED_H
#define SRCWATCH_DETECTION_DECODED_H

#include "Remark.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace srcwatch {

using Bytes = std::vector<std::uint8_t>;

template <typename T>
struct Decoded {
    std::optional<T> value;
    Remarks remarks;       ///< at least one if the bytes are refused
    bool mayPass = false;  ///< they are refused because reading failed, which may succeed later
};

/// Returns the value, or null if the bytes are absent or refused.
template <typename T>
const T* ValueOf(const std::optional<Decoded<T>>& item)
{
    return item && item->value ? &*item->value : nullptr;
}

}  // namespace srcwatch

#endif
