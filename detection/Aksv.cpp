// SPDX-License-Identifier: Apache-2.0
#include "Aksv.h"

#include "Hex.h"

#include <bitset>

namespace srcwatch {

namespace {

constexpr std::size_t kSize = 5;
constexpr std::size_t kBitsSet = 20;

}  // namespace

Decoded<std::string> DecodeAksv(const Bytes& bytes)
{
    if (bytes.size() != kSize) return {std::nullopt, OnlyRemark(std::to_string(bytes.size()) + " bytes, not 5")};
    std::size_t bits = 0;
    for (const std::uint8_t byte : bytes) bits += std::bitset<8>(byte).count();
    if (bits != kBitsSet) return {std::nullopt, OnlyRemark(std::to_string(bits) + " of 40 bits set, not 20")};
    return {ToHex(bytes), {}};
}

}  // namespace srcwatch
