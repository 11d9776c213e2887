// SPDX-License-Identifier: Apache-2.0
#include "Installation.h"

#include <cstdlib>
#include <filesystem>

namespace sandbox {

namespace {

constexpr const char* kService = "srcwatch-service";

std::string CapturesOr(const std::string& captures)
{
    const char* const set = std::getenv("SRCWATCH_CAPTURES");
    return set != nullptr ? std::filesystem::absolute(set).string() : captures;
}

}  // namespace

Installation FindInstallation()
{
    const std::filesystem::path tools = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::filesystem::path build = tools.parent_path();
    const std::string built = build / "service" / kService;
    std::error_code isAbsent;
    if (!std::filesystem::exists(built, isAbsent)) return {"", tools / kService, "", CapturesOr(SRCWATCH_CAPTURES_DIR)};
    return {tools, built, build / "service/profiles.json", CapturesOr(build / "captures")};
}

}  // namespace sandbox
