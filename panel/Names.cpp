// SPDX-License-Identifier: Apache-2.0
#include "Names.h"

#include <algorithm>

#include <glib.h>

namespace panel {

namespace {

constexpr std::size_t kLongestName = 255;

// Of a download's header and of a line of the stream.
bool IsAllowed(char c) { return static_cast<unsigned char>(c) >= ' ' && c != '/' && c != '"' && c != '\x7f'; }

}  // namespace

bool IsPlainName(const std::string& name)
{
    return !name.empty() && name.size() <= kLongestName && name[0] != '.' &&
           std::all_of(name.begin(), name.end(), IsAllowed) &&
           g_utf8_validate(name.data(), static_cast<gssize>(name.size()), nullptr) != FALSE;
}

}  // namespace panel
