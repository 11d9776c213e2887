// SPDX-License-Identifier: Apache-2.0
#include "Glob.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include <fnmatch.h>

namespace srcwatch {

namespace {

int Lower(char c) { return std::tolower(static_cast<unsigned char>(c)); }

bool IsSameWithoutCase(const std::string& a, const std::string& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Lower(x) == Lower(y); });
}

bool HasSet(const std::string& glob) { return glob.find('[') != std::string::npos; }

}  // namespace

bool MatchesGlob(const std::string& glob, const std::string& text)
{
    return fnmatch(glob.c_str(), text.c_str(), FNM_CASEFOLD | FNM_NOESCAPE) == 0;
}

// What stands from the first '[' to the last ']' may be one set, of one character.
std::size_t ShortestMatch(const std::string& glob)
{
    const std::size_t first = glob.find('[');
    const std::size_t last = glob.rfind(']');
    const bool hasSet = first != std::string::npos && last != std::string::npos && first < last;
    const std::string plain = hasSet ? glob.substr(0, first) + "?" + glob.substr(last + 1) : glob;
    return plain.size() - static_cast<std::size_t>(std::count(plain.begin(), plain.end(), '*'));
}

// The narrow glob is matched as if it were a text, in which only a '*' matches a '*'.
bool Covers(const std::string& wide, const std::string& narrow)
{
    if (IsSameWithoutCase(wide, narrow)) return true;
    if (HasSet(wide) || HasSet(narrow)) return wide.find_first_not_of('*') == std::string::npos;
    std::vector<bool> covers(narrow.size() +
                             1);  // the rest of the narrow one from here on, by the rest of the wide one
    covers[narrow.size()] = true;
    for (auto c = wide.rbegin(); c != wide.rend(); ++c) {
        std::vector<bool> next(narrow.size() + 1);
        next[narrow.size()] = *c == '*' && covers[narrow.size()];
        for (std::size_t at = narrow.size(); at-- > 0;) {
            const bool isOne = *c == '?' ? narrow[at] != '*' : Lower(*c) == Lower(narrow[at]);
            next[at] = *c == '*' ? covers[at] || next[at + 1] : isOne && covers[at + 1];
        }
        covers = next;
    }
    return covers[0];
}

}  // namespace srcwatch
