// SPDX-License-Identifier: Apache-2.0
#include "Escape.h"

#include <cstdio>
#include <cstring>

#include <glib.h>

namespace ctl {

namespace {

bool IsVisible(gunichar character)
{
    switch (g_unichar_type(character)) {
        case G_UNICODE_CONTROL:
        case G_UNICODE_FORMAT:  // the marks that turn the direction of writing are among them
        case G_UNICODE_UNASSIGNED:
        case G_UNICODE_PRIVATE_USE:
        case G_UNICODE_SURROGATE:
        case G_UNICODE_LINE_SEPARATOR:
        case G_UNICODE_PARAGRAPH_SEPARATOR:
            return false;
        default:
            return true;
    }
}

std::string EscapedByte(char byte)
{
    char text[8];
    (void)std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    return text;
}

std::string EscapedCharacter(gunichar character)
{
    char text[16];
    (void)std::snprintf(text, sizeof text, "\\u{%x}", character);
    return text;
}

std::string EscapedAscii(char character)
{
    switch (character) {
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        case '\\':
            return "\\\\";
        default:
            return g_ascii_iscntrl(character) ? EscapedByte(character) : std::string(1, character);
    }
}

std::string EscapeAllBut(const char* kept, const std::string& text)
{
    const bool utf8 = g_get_charset(nullptr);
    std::string escaped;
    for (std::size_t at = 0; at < text.size();) {
        const char* const start = text.data() + at;
        const gunichar character = g_utf8_get_char_validated(start, static_cast<gssize>(text.size() - at));
        if (static_cast<unsigned char>(*start) < 0x80) {
            escaped +=
                *start != '\0' && std::strchr(kept, *start) != nullptr ? std::string(1, *start) : EscapedAscii(*start);
            ++at;
            continue;
        }
        if (character >= static_cast<gunichar>(-2)) {  // invalid or cut
            escaped += EscapedByte(*start);
            ++at;
            continue;
        }
        const auto length = static_cast<std::size_t>(g_utf8_next_char(start) - start);
        escaped += utf8 && IsVisible(character) ? text.substr(at, length) : EscapedCharacter(character);
        at += length;
    }
    return escaped;
}

}  // namespace

std::string Escape(const std::string& text) { return EscapeAllBut("", text); }

std::string EscapeLines(const std::string& text) { return EscapeAllBut("\n\t\\", text); }

}  // namespace ctl
