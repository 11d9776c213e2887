// SPDX-License-Identifier: Apache-2.0
//
// What a decoder gives: the value, or the reason why the bytes are refused. Decoders are pure functions of bytes.
#ifndef SRCWATCH_DETECTION_DECODED_H
#define SRCWATCH_DETECTION_DECODED_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace srcwatch {

using Bytes = std::vector<std::uint8_t>;

/// Why bytes are refused, in words for a log line: ASCII, one line, without the file's name.
struct Fault {
    std::string reason;
};

template <typename T>
using Decoded = std::variant<T, Fault>;

/// The value, or null when it was refused.
template <typename T>
const T* ValueOf(const Decoded<T>& decoded)
{
    return std::get_if<T>(&decoded);
}

/// Things to tell about bytes that were nevertheless used. Keeps the first few and counts the others.
class Remarks {
public:
    void Add(std::string text)
    {
        if (m_First.size() < kKept) m_First.push_back(std::move(text));
        ++m_Count;
    }
    std::size_t Count() const { return m_Count; }

    /// All in one line, empty when there is none.
    std::string Text() const
    {
        std::string text;
        for (const std::string& remark : m_First) text += (text.empty() ? "" : "; ") + remark;
        if (m_Count > m_First.size()) text += "; and " + std::to_string(m_Count - m_First.size()) + " more";
        return text;
    }

private:
    static constexpr std::size_t kKept = 4;
    std::vector<std::string> m_First;
    std::size_t m_Count = 0;
};

}  // namespace srcwatch

#endif
