// SPDX-License-Identifier: Apache-2.0
//
// The TWC check of a port: whether its set-top box is tuned to a channel.
#ifndef SRCWATCH_SERVICE_TWC_H
#define SRCWATCH_SERVICE_TWC_H

#include "Settings.h"

namespace srcwatch {

class Twc {
public:
    explicit Twc(Settings& settings) : m_settings(settings) {}

    /// Shows applications that no check runs.
    void Reset();

    void Start(int port, bool isSetTopBox);
    void End(int port);

    /// To be called after each write to the setting that a tuned channel is reported in.
    void HandleTunedChannel();

    /// The port that is checked; -1 if none is.
    int Port() const { return m_port; }

private:
    bool TakeTunedChannel();

    Settings& m_settings;
    int m_port = -1;
};

}  // namespace srcwatch

#endif
