// SPDX-License-Identifier: Apache-2.0
#include "ProfileSource.h"

#include "Bus.h"
#include "Failure.h"
#include "Output.h"
#include "Profiles.h"
#include "srcwatch-protocol.h"

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
    return {"installed", srcwatch::InstalledProfiles(SRCWATCH_PROFILES_DIR, SRCWATCH_PROFILES_FILE)};
}

ProfileSource FindProfiles(const std::vector<std::string>& given)
{
    if (!given.empty()) return {"option", given};
    if (auto source = AskForProfiles()) return *source;
    return InstalledProfiles();
}

}  // namespace ctl
