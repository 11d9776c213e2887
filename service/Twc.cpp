// SPDX-License-Identifier: Apache-2.0
#include "Twc.h"

#include "Log.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "StoredValues.h"
#include "srcwatch-protocol.h"

namespace srcwatch {

void Twc::Reset()
{
    m_port = -1;
    WriteNumber(VCONF_TWC_STATUS_INTERNAL, -1);
}

void Twc::Start(int port, bool isSetTopBox)
{
    m_port = port;
    WriteNumber(VCONF_TWC_STATUS_INTERNAL, isSetTopBox ? SRCWATCH_TWC_WAITING : SRCWATCH_TWC_NO_SET_TOP_BOX);
}

// The library clears the status too, but a channel reported just before may have set it again.
void Twc::End(int port)
{
    if (m_port != port) SWLOG(DLOG_WARN, "the TWC check of HDMI %d ends but was not started", port + 1);
    Reset();
}

// Numbers that cannot be read mean that no check runs and that nothing is tuned.
void Twc::HandleTunedChannel()
{
    const bool isWaiting = m_port >= 0 && ReadNumber(VCONF_TWC_STATUS_INTERNAL) == SRCWATCH_TWC_WAITING;
    if (!isWaiting || ReadNumber(VCONF_TWC_SEQ_ID).value_or(-1) < 0) return;
    if (ReadNumber(VCONF_TWC_FRAME_COUNT).value_or(0) < 1) return;
    WriteNumber(VCONF_TWC_STATUS_INTERNAL, SRCWATCH_TWC_TUNED);
}

}  // namespace srcwatch
