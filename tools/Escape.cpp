// SPDX-License-Identifier: Apache-2.0
#include "Escape.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include <glib.h>

namespace ctl {

namespace {

// The marks that turn the direction of writing are format characters, which are not printed.
bool IsVisible(gunichar character)
{
    const GUnicodeType type = g_unichar_type(character);
    return g_unichar_isprint(character) && type != G_UNICODE_PRIVATE_USE && type != G_UNICODE_LINE_SEPARATOR &&
           type != G_UNICODE_PARAGRAPH_SEPARATOR;
}

std::string Hex(unsigned number, int digits)
{
    char text[16];
    static_cast<void>(std::snprintf(text, sizeof text, "%0*x", digits, number));  // 8 characters at most
    return text;
}

std::string EscapedByte(char byte) { return "\\x" + Hex(static_cast<unsigned char>(byte), 2); }

std::string EscapedAscii(char character)
{
    constexpr char kEscaped[] = {'\n', '\r', '\t', '\\'};
    constexpr char kLetters[] = {'n', 'r', 't', '\\'};
    const auto* const found = std::find(std::begin(kEscaped), std::end(kEscaped), character);
    if (found != std::end(kEscaped)) return {'\\', kLetters[found - kEscaped]};
    return g_ascii_iscntrl(character) ? EscapedByte(character) : std::string(1, character);
}

std::string EscapeAllBut(const std::string& kept, const std::string& text)
{
    const bool isUtf8 = g_get_charset(nullptr);
    std::string escaped;
    std::size_t length = 1;
    for (std::size_t at = 0; at < text.size(); at += length) {
        const char* const start = text.data() + at;
        const gunichar character = g_utf8_get_char_validated(start, static_cast<gssize>(text.size() - at));
        length = 1;
        if (static_cast<unsigned char>(*start) < 0x80) {
            escaped += kept.find(*start) != std::string::npos ? std::string(1, *start) : EscapedAscii(*start);
        } else if (character >= static_cast<gunichar>(-2)) {  // invalid or cut
            escaped += EscapedByte(*start);
        } else {
            length = static_cast<std::size_t>(g_unichar_to_utf8(character, nullptr));
            escaped += isUtf8 && IsVisible(character) ? text.substr(at, length) : "\\u{" + Hex(character, 1) + "}";
        }
    }
    return escaped;
}

}  // namespace

std::string Escape(const std::string& text) { return EscapeAllBut("", text); }

std::string EscapeLines(const std::string& text) { return EscapeAllBut("\n\t\\", text); }

}  // namespace ctl
