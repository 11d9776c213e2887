// SPDX-License-Identifier: Apache-2.0
//
// The form of a recording's entries.
#ifndef SRCWATCH_TOOLS_ENTRYFORM_H
#define SRCWATCH_TOOLS_ENTRYFORM_H

#include <string>

#include <json/value.h>

namespace ctl {

/// Returns what is wrong with an entry; an empty text if nothing is.
std::string FaultOf(const Json::Value& entry);

}  // namespace ctl

#endif
