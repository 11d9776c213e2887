// SPDX-License-Identifier: Apache-2.0
#include "SpdInfoFrame.h"

#include "AsciiField.h"

#include <cstdio>
#include <numeric>

namespace srcwatch {

namespace {

constexpr std::uint8_t kType = 0x83;
constexpr std::uint8_t kVersion = 1;
constexpr std::size_t kHeaderSize = 4;  // type, version, length, checksum
constexpr std::size_t kVendorSize = 8;
constexpr std::size_t kProductSize = 16;
constexpr std::size_t kMinimumLength = kVendorSize + kProductSize + 1;

std::string Hex(unsigned value)
{
    char text[16];
    static_cast<void>(std::snprintf(text, sizeof text, "0x%02x", value));  // the longest is 10 characters
    return text;
}

std::string Truncated(std::size_t size, std::size_t expected)
{
    return "truncated: " + std::to_string(size) + " of " + std::to_string(expected) + " bytes";
}

// The reason why these bytes are not a frame; empty if they are one.
std::string WhatIsWrong(const Bytes& bytes)
{
    if (bytes.size() < kHeaderSize) return Truncated(bytes.size(), kHeaderSize + kMinimumLength);
    if (bytes[0] != kType) return "type is " + Hex(bytes[0]) + ", not " + Hex(kType);
    if (bytes[1] != kVersion) return "version is " + std::to_string(bytes[1]) + ", not 1";
    const std::size_t length = bytes[2];
    if (length < kMinimumLength) return "length is " + std::to_string(length) + ", less than 25";
    const std::size_t size = kHeaderSize + length;
    if (bytes.size() < size) return Truncated(bytes.size(), size);
    if (bytes.size() > size) return std::to_string(bytes.size() - size) + " byte(s) after the end of the frame";
    const unsigned sum = std::accumulate(bytes.begin(), bytes.end(), 0U) % 256;
    if (sum != 0) return "checksum is wrong: the bytes add up to " + Hex(sum) + ", not 0x00";
    return "";
}

}  // namespace

Decoded<SpdInfoFrame> DecodeSpdInfoFrame(const Bytes& bytes)
{
    const std::string wrong = WhatIsWrong(bytes);
    if (!wrong.empty()) return {std::nullopt, OnlyRemark(wrong)};

    SpdInfoFrame frame;
    Remarks remarks;
    const std::uint8_t* const vendor = bytes.data() + kHeaderSize;
    const std::uint8_t* const product = vendor + kVendorSize;
    frame.vendor = DecodeAscii("vendor name", vendor, kVendorSize, remarks);
    frame.product = DecodeAscii("product description", product, kProductSize, remarks);
    frame.sourceInformation = product[kProductSize];
    return {frame, remarks};
}

}  // namespace srcwatch
