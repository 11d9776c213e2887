// SPDX-License-Identifier: Apache-2.0
#include "Tar.h"

#include <cstdio>

namespace panel {

namespace {

constexpr std::size_t kBlock = 512;
constexpr std::size_t kChecksum = 148;

void Put(std::string& header, std::size_t at, const std::string& text) { header.replace(at, text.size(), text); }

std::string Octal(unsigned long number, int digits)
{
    char text[24];
    static_cast<void>(std::snprintf(text, sizeof text, "%0*lo", digits, number));  // fits
    return text;
}

std::string HeaderOf(const std::string& name, std::size_t size)
{
    std::string header(kBlock, '\0');
    Put(header, 0, name);
    Put(header, 100, Octal(0644, 7));
    Put(header, 108, Octal(0, 7));
    Put(header, 116, Octal(0, 7));
    Put(header, 124, Octal(size, 11));
    Put(header, 136, Octal(0, 11));
    Put(header, kChecksum, "        ");
    Put(header, 156, "0");
    Put(header, 257,
        std::string("ustar\0"
                    "00",
                    8));
    unsigned long sum = 0;
    for (const char byte : header) sum += static_cast<unsigned char>(byte);
    Put(header, kChecksum, Octal(sum, 6) + std::string("\0 ", 2));
    return header;
}

}  // namespace

void Tar::Add(const std::string& name, const std::string& bytes)
{
    m_bytes += HeaderOf(name, bytes.size()) + bytes;
    m_bytes.resize((m_bytes.size() + kBlock - 1) / kBlock * kBlock, '\0');
}

std::string Tar::Bytes() const { return m_bytes + std::string(2 * kBlock, '\0'); }

}  // namespace panel
