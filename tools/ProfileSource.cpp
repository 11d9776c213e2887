// SPDX-License-Identifier: Apache-2.0
#include "ProfileSource.h"

#include "Bus.h"
#include "Failure.h"
#include "Output.h"
#include "srcwatch-protocol.h"

#include <filesystem>
#include <optional>

namespace ctl {

namespace {

std::optional<ProfileSource> AskForProfiles()
try {
    if (!ServiceOwner(ConnectBus().get())) return std::nullopt;
    const Json::Value reply = ParseReply(CallService(SRCWATCH_REQUEST_PROFILES, {}, ""));
    if (!reply.isObject() || !reply["paths"].isArray()) return std::nullopt;  // an older one
    ProfileSource source{"service", {}};
    for (const Json::Value& path : reply["paths"]) source.paths.push_back(CellText(path));
    return source;
} catch (const Failure&) {
    return std::nullopt;
}

}  // namespace

ProfileSource InstalledProfiles()
{
    ProfileSource installed{"installed", {SRCWATCH_PROFILES_FILE}};
    std::error_code error;  // a directory that cannot be examined is reported when it is read
    const auto type = std::filesystem::status(SRCWATCH_PROFILES_DIR, error).type();
    if (type != std::filesystem::file_type::not_found)
        installed.paths.insert(installed.paths.begin(), SRCWATCH_PROFILES_DIR);
    return installed;
}

ProfileSource FindProfiles(const std::vector<std::string>& given)
{
    if (!given.empty()) return {"option", given};
    if (auto source = AskForProfiles()) return *source;
    return InstalledProfiles();
}

}  // namespace ctl
