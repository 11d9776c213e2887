// SPDX-License-Identifier: Apache-2.0
#include "FindCapture.h"

#include "Failure.h"

#include <filesystem>
#include <system_error>

namespace ctl {

namespace {

// The path of a directory without links; empty if there is no such directory.
std::string CanonicalDirectory(const std::string& path)
{
    std::error_code error;
    const std::filesystem::path canonical = std::filesystem::canonical(path, error);
    return std::filesystem::is_directory(canonical, error) ? canonical.string() : "";
}

}  // namespace

std::string FindCapture(const std::string& capture, const std::string& captures)
{
    std::string found = CanonicalDirectory(capture);
    if (!found.empty()) return found;
    const bool isPath = capture.find('/') != std::string::npos;
    if (isPath) throw Failure("no such capture directory: " + capture);
    found = CanonicalDirectory(std::filesystem::path(captures) / capture);
    if (!found.empty()) return found;
    throw Failure("no such capture directory: " + capture + ", nor one of this name in " + captures);
}

}  // namespace ctl
