// SPDX-License-Identifier: Apache-2.0
#include "Note.h"

#include "Escape.h"

#include <cstdio>

namespace ctl {

void Note(const std::string& text)
{
    // Nothing can be done if this fails.
    static_cast<void>(std::fprintf(stderr, "srcwatchctl: %s\n", Escape(text).c_str()));
}

}  // namespace ctl
