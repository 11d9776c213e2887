// SPDX-License-Identifier: Apache-2.0
//
// The captures that have a name, and the profiles by which devices are known here.
#ifndef SRCWATCH_PANEL_KNOWNDEVICES_H
#define SRCWATCH_PANEL_KNOWNDEVICES_H

#include "Capture.h"
#include "Captures.h"

#include <string>
#include <vector>

#include <json/value.h>

namespace panel {

class KnownDevices {
public:
    /// @param profiles  Files and directories, the first to win first; if there are none, those of the service, or else
    ///                  the installed ones.
    KnownDevices(std::string captures, std::vector<std::string> profiles)
        : m_directory(std::move(captures)), m_given(std::move(profiles))
    {
    }

    const std::string& Directory() const { return m_directory; }

    /// Sets where the running service has its profiles from.
    void SetServicePaths(const Json::Value& paths);
    std::vector<std::string> ProfilePaths() const;
    /// Returns who says so: "option", "service" or "installed".
    const char* ProfilesFrom() const;

    /// Reads the captures again, and returns what they are.
    Json::Value Refresh();
    /// Returns what a device is, by the profiles as they are now.
    Json::Value Verdict(const srcwatch::Capture& device) const;
    /// Returns {paths, text}: the text is that of the first file, which TryText() replaces.
    Json::Value Profiles() const;
    Json::Value TryText(const std::string& text) const;

private:
    const std::string m_directory;
    const std::vector<std::string> m_given;
    std::vector<std::string> m_service;
    std::vector<NamedCapture> m_captures;
};

}  // namespace panel

#endif
