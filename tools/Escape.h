// SPDX-License-Identifier: Apache-2.0
//
// Text from devices, documents and other programs, made safe to show.
#ifndef SRCWATCH_TOOLS_ESCAPE_H
#define SRCWATCH_TOOLS_ESCAPE_H

#include <string>

namespace ctl {

/**
 * The text in one line that a terminal shows as it is.
 *
 * Whatever moves the cursor, ends a line, turns the direction of writing or cannot be seen becomes an escape sequence:
 * \n \r \t, \xNN for a byte (also one that is not valid UTF-8), \u{N} for a character, and \\ for the backslash itself,
 * so that the text can be told from what was escaped. Outside UTF-8 locales all but ASCII is escaped.
 */
std::string Escape(const std::string& text);

/// The same for a text that is all there is to show, such as a JSON document: line ends, tabs and backslashes stay.
std::string EscapeLines(const std::string& text);

}  // namespace ctl

#endif
