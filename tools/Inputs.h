// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory of the detection service.
#ifndef SRCWATCH_TOOLS_INPUTS_H
#define SRCWATCH_TOOLS_INPUTS_H

#include "InputsDirectory.h"

#include <string>

namespace ctl {

/// Throws a Failure if there is no such inputs directory.
srcwatch::InputsDirectory OpenInputs(const std::string& path);

/// Throws a Failure if an input was not changed.
void Require(const srcwatch::InputOutcome& outcome);

}  // namespace ctl

#endif
