// SPDX-License-Identifier: Apache-2.0
#include "Wrap.h"

#include <sstream>

#include <glib.h>

namespace ctl {

namespace {

std::size_t WidthOfCharacter(const char* at)
{
    const gunichar character = g_utf8_get_char(at);
    if (g_unichar_iszerowidth(character) != FALSE) return 0;
    return g_unichar_iswide(character) != FALSE ? 2 : 1;
}

// As far as the text goes, even if it ends within a character.
const char* NextCharacter(const char* at) { return g_utf8_find_next_char(at, nullptr); }

}  // namespace

std::size_t WidthOf(const std::string& text)
{
    std::size_t width = 0;
    for (const char* at = text.c_str(); *at != '\0'; at = NextCharacter(at)) width += WidthOfCharacter(at);
    return width;
}

std::string WrapText(const std::string& text, std::size_t width)
{
    std::string lines;
    std::size_t used = 0;  // of the last line
    std::istringstream words(text);
    for (std::string word; std::getline(words, word, ' ');) {
        const bool isFirst = lines.empty();
        const bool fits = used + 1 + WidthOf(word) <= width;
        if (!isFirst) lines += fits ? ' ' : '\n';
        used = !isFirst && fits ? used + 1 : 0;
        for (const char* at = word.c_str(); *at != '\0'; at = NextCharacter(at)) {
            if (used + WidthOfCharacter(at) > width) {
                lines += '\n';
                used = 0;
            }
            const char* const next = NextCharacter(at);
            lines.append(at, next);
            used += WidthOfCharacter(at);
        }
    }
    return lines;
}

}  // namespace ctl
