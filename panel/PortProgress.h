// SPDX-License-Identifier: Apache-2.0
//
// How far the detection of the device on a port is, and how long it took, as seen from here.
#ifndef SRCWATCH_PANEL_PORTPROGRESS_H
#define SRCWATCH_PANEL_PORTPROGRESS_H

#include <optional>

namespace panel {

/// What is known of a port at one moment.
struct PortSight {
    bool isPlugged;   ///< the input is there
    bool isReported;  ///< the service has announced the device
    bool isDetected;  ///< the port's record has a device
};

class PortProgress {
public:
    /// @param milliseconds  Of a clock that is never set.
    void Update(const PortSight& sight, double milliseconds)
    {
        const bool isThere = sight.isPlugged || sight.isReported || sight.isDetected;
        const bool isNew = isThere && (!m_isThere || (sight.isPlugged && !m_sight.isPlugged));
        if (isNew) m_since = milliseconds;
        if (isNew || !isThere) m_took.reset();
        if (!isNew && sight.isDetected && !m_sight.isDetected) m_took = milliseconds - m_since;
        m_wasEmpty = m_wasEmpty || !isThere;
        m_isThere = isThere;
        m_sight = sight;
    }

    const char* State() const
    {
        if (m_sight.isDetected) return "detected";
        if (m_sight.isReported) return "reading";
        return m_sight.isPlugged ? "plugged" : "empty";
    }

    /// Returns the time from the first sight of the device until it was detected.
    std::optional<double> Milliseconds() const { return m_took; }

    /// Returns true if the device came while the port was looked at, whether it was seen before it was detected or not.
    bool IsFromHere() const { return m_wasEmpty; }

private:
    PortSight m_sight{};
    bool m_isThere = false;
    bool m_wasEmpty = false;
    double m_since = 0;
    std::optional<double> m_took;
};

}  // namespace panel

#endif
