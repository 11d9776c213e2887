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
        const bool wasThere = m_isThere;
        const bool wasDetected = m_sight.isDetected;
        m_isThere = sight.isPlugged || sight.isReported || sight.isDetected;
        m_sight = sight;
        if (!m_isThere || !wasThere) m_took.reset();
        if (m_isThere && !wasThere) m_since = milliseconds;
        // A device that was there from the beginning has no time.
        if (sight.isDetected && !wasDetected && wasThere) m_took = milliseconds - m_since;
    }

    const char* State() const
    {
        if (m_sight.isDetected) return "detected";
        if (m_sight.isReported) return "reading";
        return m_sight.isPlugged ? "plugged" : "empty";
    }

    /// Returns the time from the first sight of the device until it was detected.
    std::optional<double> Milliseconds() const { return m_took; }

private:
    PortSight m_sight{};
    bool m_isThere = false;
    double m_since = 0;
    std::optional<double> m_took;
};

}  // namespace panel

#endif
