// SPDX-License-Identifier: Apache-2.0
//
// The text form of an event: ten numbers and three words, each followed by a tab, without version, length or checksum.
// Values to text and back; no bus, no lock, no log.
#ifndef SRCWATCH_EVENTTEXT_H
#define SRCWATCH_EVENTTEXT_H

#include "Handle.h"
#include "QDInfoNames.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <locale>
#include <sstream>
#include <string>

#include <glib.h>

namespace qdinfo {

/// The three texts of an event as they travel: without spaces, never empty when sent.
using EventWords = std::array<std::string, 3>;

constexpr char kSpace = ' ';
constexpr char kSpaceInMessage = '#';

inline void Clear(std::stringstream& stream)
{
    stream.clear();
    stream.str(std::string());
}

/// Clears a stream and undoes what a callback may have done to it: its format, locale and exceptions. Numbers are
/// written and read without the host's digit grouping.
inline void Reset(std::stringstream& stream)
{
    static const std::ios& plain = *[] {
        auto* made = new std::ios(nullptr);  // outlives static receivers of the host
        made->imbue(std::locale::classic());
        return made;
    }();
    stream.copyfmt(plain);
    Clear(stream);
}

/// Copies text into a field of zeros, cut so that the field stays terminated.
template <std::size_t Size>
void CopyToField(char (&field)[Size], const std::string& text)
{
    std::memcpy(field, text.data(), std::min(text.size(), Size - 1));
}

inline EventWords WordsOf(const srcwatch_event_s& event)
{
    EventWords words;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const char* text = event.str_args[i];
        const std::size_t length = strnlen(text, sizeof(event.str_args[i]));  // a full field has no terminator
        words[i] = length > 0 ? std::string(text, length) : kEmptyField;
        std::replace(words[i].begin(), words[i].end(), kSpace, kSpaceInMessage);
    }
    return words;
}

template <typename Items>
void WriteItems(std::ostream& message, const Items& items)
{
    for (const auto& item : items) message << item << kFieldSeparator;
}

/// Reads the ten numbers into an event, and returns the three words as they travel. Missing words are empty; missing
/// numbers, and all after an item that is not a 32-bit number, are 0.
inline EventWords ReadItems(std::istream& message, srcwatch_event_s& event)
{
    for (std::int32_t& arg : event.args) {
        int value = 0;
        arg = message >> value ? value : 0;  // a number out of range would leave the nearest one
    }
    EventWords words;
    for (std::string& word : words) message >> word;
    return words;
}

/// Sets the texts of an event, which are empty, from words as they travel.
inline void SetTexts(srcwatch_event_s& event, EventWords words)
{
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::replace(words[i].begin(), words[i].end(), kSpaceInMessage, kSpace);
        if (words[i] != kEmptyField) CopyToField(event.str_args[i], words[i]);
    }
}

/// Replaces what is not valid UTF-8, which the bus refuses, by U+FFFD.
inline void MakeValidUtf8(std::string& text)
{
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE) return;
    const srcwatch::Handle<char, g_free> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    text = valid.get();
}

}  // namespace qdinfo

#endif
