// SPDX-License-Identifier: Apache-2.0
//
// The devices that were plugged in and are not detected yet, as applications see them in the settings.
#ifndef SRCWATCH_SERVICE_PENDINGDETECTIONS_H
#define SRCWATCH_SERVICE_PENDINGDETECTIONS_H

#include "Settings.h"

#include <map>
#include <set>

#include <glib.h>

namespace srcwatch {

class PendingDetections {
public:
    explicit PendingDetections(Settings& settings) : m_settings(settings) {}

    void Begin(int port);
    void End(int port);

    /// Ends all of them.
    void Clear();

    /// Returns the milliseconds since the last Begin() of a port.
    int MillisecondsSince(int port) const;

private:
    void Show();

    Settings& m_settings;
    std::set<int> m_ports;
    std::map<int, gint64> m_since;  // microseconds; stays when a detection ends, as a changed file begins none
};

}  // namespace srcwatch

#endif
