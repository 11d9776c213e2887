// SPDX-License-Identifier: Apache-2.0
//
// JSON texts made of the bytes of an input: nearly what is expected, or anything at all.
#ifndef SRCWATCH_FUZZ_JSONTEXT_H
#define SRCWATCH_FUZZ_JSONTEXT_H

#include "Fuzz.h"

#include <string>
#include <vector>

#include <json/json.h>

namespace fuzz {

/// The member names that matter in a kind of document.
using Names = std::vector<const char*>;

/// Any JSON value; members are named by names, most of the time.
std::string JsonValue(Input& input, const Names& names);

/// A JSON text, with the escapes of a few characters only: bytes are as they come.
std::string JsonString(const std::string& text);

/// A 32-bit number, or one that is too large or has a fraction.
std::string JsonNumber(Input& input);

/// Parses as the library does. @return False if the text is not JSON, for any reason.
bool Parse(const std::string& text, Json::Value& root);

}  // namespace fuzz

#endif
