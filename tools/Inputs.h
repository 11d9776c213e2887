// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory of the detection service.
#ifndef SRCWATCH_TOOLS_INPUTS_H
#define SRCWATCH_TOOLS_INPUTS_H

#include <string>
#include <vector>

namespace ctl {

/// Throws a Failure if there is no such inputs directory.
void RequireInputs(const std::string& inputs);

/// Returns the ports that have a name in the inputs directory, whether this TV has them or not.
std::vector<int> NamedInputs();

}  // namespace ctl

#endif
