// SPDX-License-Identifier: Apache-2.0
//
// What the fuzz targets share: an input that is used up piece by piece, and the way to report a finding.
#ifndef SRCWATCH_FUZZ_FUZZ_H
#define SRCWATCH_FUZZ_FUZZ_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

/// One execution; libFuzzer, or the replay of a corpus, calls it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace fuzz {

/// Ends the process with a line that names what does not hold, unless it holds.
inline void Require(bool holds, const char* what, const char* file = __builtin_FILE(), int line = __builtin_LINE())
{
    if (holds) return;
    static_cast<void>(std::fprintf(stderr, "finding: %s:%d: %s\n", file, line, what));
    std::abort();
}

/// The bytes of one execution. An input that is used up yields zeros and empty texts.
class Input {
public:
    Input(const std::uint8_t* bytes, std::size_t size) : m_next(bytes), m_left(size) {}

    std::size_t Left() const { return m_left; }

    std::uint8_t Byte()
    {
        if (m_left == 0) return 0;
        --m_left;
        return *m_next++;
    }

    /// Returns one of 0 to count - 1.
    unsigned Below(unsigned count) { return Byte() % count; }

    std::int32_t Number()
    {
        std::uint32_t number = 0;
        for (int i = 0; i < 4; ++i) number = number << 8U | Byte();
        return static_cast<std::int32_t>(number);
    }

    /// Returns at most this many bytes; the first one is their number.
    std::string Text(std::size_t most) { return Take(std::min<std::size_t>({Byte(), most, m_left})); }

    std::string Rest() { return Take(m_left); }

private:
    std::string Take(std::size_t count)
    {
        std::string text(count, '\0');
        if (count > 0) std::memcpy(text.data(), m_next, count);
        m_next += count;
        m_left -= count;
        return text;
    }

    const std::uint8_t* m_next;
    std::size_t m_left;
};

/// As a C string shows it: up to the first zero.
inline std::string Printed(const std::string& text) { return text.substr(0, text.find('\0')); }

}  // namespace fuzz

#endif
