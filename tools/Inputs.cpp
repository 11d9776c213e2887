// SPDX-License-Identifier: Apache-2.0
#include "Inputs.h"

#include "Failure.h"

#include <filesystem>
#include <system_error>

namespace ctl {

srcwatch::InputsDirectory OpenInputs(const std::string& path)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) return srcwatch::InputsDirectory(path);
    throw Failure("no such inputs directory: " + path + "; set it with --inputs or SRCWATCH_INPUTS");
}

void Require(const srcwatch::InputOutcome& outcome)
{
    if (!outcome.IsDone()) throw Failure(outcome.reason);
}

}  // namespace ctl
