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
    m_settings.WriteNumber(VCONF_TWC_STATUS_INTERNAL, -1);
}

void Twc::Start(int port, bool isSetTopBox)
{
    m_port = port;
    m_settings.WriteNumber(VCONF_TWC_STATUS_INTERNAL, isSetTopBox ? SRCWATCH_TWC_WAITING : SRCWATCH_TWC_NO_SET_TOP_BOX);
}

// The library clears the status too, but a channel reported just before may have set it again.
void Twc::End(int port)
{
    if (m_port != port) SWLOG(kLogWarn, "the TWC check of HDMI %d ends but was not started", port + 1);
    Reset();
}

void Twc::HandleTunedChannel()
{
    m_settings.Attain("reading the tuned channel", [this] { return TakeTunedChannel(); });
}

// Returns false if the store cannot be read. Absent numbers mean that no check runs and that nothing is tuned.
bool Twc::TakeTunedChannel()
{
    if (m_port < 0) return true;
    int status = -1;
    int sequence = -1;
    int frames = 0;
    if (ReadNumber(VCONF_TWC_STATUS_INTERNAL, status) == ReadResult::kFailed) return false;
    if (status != SRCWATCH_TWC_WAITING) return true;
    if (ReadNumber(VCONF_TWC_SEQ_ID, sequence) == ReadResult::kFailed) return false;
    if (ReadNumber(VCONF_TWC_FRAME_COUNT, frames) == ReadResult::kFailed) return false;
    if (sequence >= 0 && frames >= 1) m_settings.WriteNumber(VCONF_TWC_STATUS_INTERNAL, SRCWATCH_TWC_TUNED);
    return true;
}

}  // namespace srcwatch
