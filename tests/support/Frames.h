// SPDX-License-Identifier: Apache-2.0
//
// Composes the bytes of devices for tests, by the public standards' layout and independently of the decoders.
#ifndef SRCWATCH_TESTS_FRAMES_H
#define SRCWATCH_TESTS_FRAMES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace srcwatch_test {

using Frame = std::vector<std::uint8_t>;

/// Bytes of a text, or of hexadecimal digits.
inline Frame FromText(const std::string& text) { return {text.begin(), text.end()}; }
inline Frame FromHex(const std::string& digits)
{
    Frame bytes;
    for (std::size_t at = 0; at + 1 < digits.size(); at += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

/// Corrects the checksum of an InfoFrame after its bytes were changed.
inline void FixChecksum(Frame& frame)
{
    unsigned sum = 0;
    frame[3] = 0;
    for (const std::uint8_t byte : frame) sum += byte;
    frame[3] = static_cast<std::uint8_t>(256U - sum % 256U);
}

/// An SPD InfoFrame of 29 bytes.
inline Frame SpdFrame(const std::string& vendor, const std::string& product, int sourceInformation)
{
    Frame frame{0x83, 0x01, 0x19, 0x00};
    frame.resize(29);
    std::copy(vendor.begin(), vendor.end(), frame.begin() + 4);
    std::copy(product.begin(), product.end(), frame.begin() + 12);
    frame[28] = static_cast<std::uint8_t>(sourceInformation);
    FixChecksum(frame);
    return frame;
}

}  // namespace srcwatch_test

#endif
