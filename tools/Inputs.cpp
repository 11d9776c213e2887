// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include "Failure.h"
#include "srcwatch-api.h"

#include <filesystem>
#include <system_error>

namespace ctl {

void RequireInputs(const std::string& inputs)
{
    std::error_code error;
    if (std::filesystem::is_directory(inputs, error)) return;
    throw Failure("no such inputs directory: " + inputs + "; set it with --inputs or SRCWATCH_INPUTS");
}

std::vector<int> NamedInputs() { return {0, 1, 2, 3, 4, 5, 6, 7, SRCWATCH_PORT_OPTICAL}; }

}  // namespace ctl
