// SPDX-License-Identifier: Apache-2.0
//
// What a decoder gives: the value, or the reason why the bytes are refused. Decoders are pure functions of bytes.
#ifndef SRCWATCH_DETECTION_DECODED_H
#define SRCWATCH_DETECTION_DECODED_H

#include "Remark.h"

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace srcwatch {

using Bytes = std::vector<std::uint8_t>;

/// Why bytes are refused: one remark at least.
struct Fault {
    explicit Fault(std::string text) : remarks{{"", 0, std::move(text)}} {}
    explicit Fault(Remarks all) : remarks(std::move(all)) {}

    Remarks remarks;
};

template <typename T>
using Decoded = std::variant<T, Fault>;

/// The value, or null when it was refused.
template <typename T>
const T* ValueOf(const Decoded<T>& decoded)
{
    return std::get_if<T>(&decoded);
}

}  // namespace srcwatch

#endif
