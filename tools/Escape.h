// SPDX-License-Identifier: Apache-2.0
//
// Text from devices, documents and other programs, made safe for a terminal. For the log, detection's Printable() does
// it, and for JSON its writer.
#ifndef SRCWATCH_TOOLS_ESCAPE_H
#define SRCWATCH_TOOLS_ESCAPE_H

#include <string>

namespace ctl {

/**
 * Returns a text in one line that a terminal shows as it is.
 *
 * Characters that move the cursor, end a line, turn the direction of writing or cannot be seen become escape sequences:
 * \n \r \t, \xNN for a byte (also one that is not valid UTF-8), \u{N} for a character, and \\ for the backslash itself,
 * so that no text looks like an escape sequence. Outside UTF-8 locales all but ASCII is escaped.
 */
std::string Escape(const std::string& text);

/// Returns a text that is all there is to show, such as a JSON document: line ends, tabs and backslashes stay.
std::string EscapeLines(const std::string& text);

}  // namespace ctl

#endif
