// SPDX-License-Identifier: Apache-2.0
#include "KnownDevices.h"

namespace panel {

namespace {

constexpr std::size_t kProfilesLimit = 1024UL * 1024;

}  // namespace

void KnownDevices::SetServicePaths(const Json::Value& paths)
{
    m_service.clear();
    if (!paths.isArray()) return;
    for (const Json::Value& path : paths) {
        if (path.isString()) m_service.push_back(path.asString());
    }
}

std::vector<std::string> KnownDevices::ProfilePaths() const
{
    if (!m_given.empty()) return m_given;
    return m_service.empty() ? srcwatch::InstalledProfiles(SRCWATCH_PROFILES_DIR, SRCWATCH_PROFILES_FILE) : m_service;
}

const char* KnownDevices::ProfilesFrom() const
{
    if (!m_given.empty()) return "option";
    return m_service.empty() ? "installed" : "service";
}

Json::Value KnownDevices::Refresh()
{
    m_captures = ReadCaptures(m_directory);
    return DescribeCaptures(m_captures, LoadProfiles(ProfilePaths()));
}

Json::Value KnownDevices::Verdict(const srcwatch::Capture& device) const
{
    return DescribeVerdict(srcwatch::EvidenceOf(device), LoadProfiles(ProfilePaths()));
}

Json::Value KnownDevices::Profiles() const
{
    Json::Value document;
    document["paths"] = Json::arrayValue;
    const std::vector<std::string> files = ProfileFiles(ProfilePaths());
    for (const std::string& file : files) document["paths"].append(file);
    const auto bytes = files.empty() ? std::nullopt : srcwatch::ReadBoundedFile(files.front(), kProfilesLimit);
    const bool isRead = bytes && bytes->value;
    document["text"] = isRead ? std::string(bytes->value->begin(), bytes->value->end()) : "";
    return document;
}

Json::Value KnownDevices::TryText(const std::string& text) const
{
    return TryProfiles(m_captures, ProfileFiles(ProfilePaths()), text);
}

}  // namespace panel
