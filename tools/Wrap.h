// SPDX-License-Identifier: Apache-2.0
//
// The width of texts on a terminal.
#ifndef SRCWATCH_TOOLS_WRAP_H
#define SRCWATCH_TOOLS_WRAP_H

#include <cstddef>
#include <string>

namespace ctl {

/// Returns the columns of a terminal that a text of UTF-8 takes.
std::size_t WidthOf(const std::string& text);

/// Returns a text in lines of at most so many columns, broken at its spaces; a longer word is broken where it has to
/// be.
std::string WrapText(const std::string& text, std::size_t width);

}  // namespace ctl

#endif
