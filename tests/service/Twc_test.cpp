// SPDX-License-Identifier: Apache-2.0
#include "Twc.h"

#include "QDInfoNames.h"
#include "ServiceTest.h"
#include "srcwatch-protocol.h"

#include <vconf.h>

namespace srcwatch_test {
namespace {

class Twc : public ServiceTest {
protected:
    // What applications see after a channel was reported.
    int StatusAfter(int sequence, int frames)
    {
        vconf_set_int(qdinfo::kTwcSequenceKey, sequence);
        vconf_set_int(qdinfo::kTwcFrameCountKey, frames);
        m_twc.HandleTunedChannel();
        return srcwatch_is_TWC();
    }

    srcwatch::Settings m_settings;
    srcwatch::Twc m_twc{m_settings};
};

TEST_F(Twc, WaitsForAChannelWithFrames)
{
    m_twc.Start(2, true);
    EXPECT_EQ(m_twc.Port(), 2);

    EXPECT_EQ(StatusAfter(-1, 12), SRCWATCH_TWC_WAITING);
    EXPECT_EQ(StatusAfter(1, 0), SRCWATCH_TWC_WAITING);
    EXPECT_EQ(StatusAfter(0, 1), SRCWATCH_TWC_TUNED);
}

TEST_F(Twc, HasNothingToCheckWithoutASetTopBox)
{
    m_twc.Start(2, false);

    EXPECT_EQ(StatusAfter(1, 12), SRCWATCH_TWC_NO_SET_TOP_BOX);
}

TEST_F(Twc, IgnoresChannelsWhenNoCheckRuns)
{
    m_twc.Reset();
    EXPECT_EQ(StatusAfter(1, 12), -1);

    m_twc.Start(0, true);
    m_twc.End(0);

    EXPECT_EQ(StatusAfter(1, 12), -1);
    EXPECT_EQ(m_twc.Port(), -1);
}

TEST_F(Twc, EndsAlsoForAnotherPort)
{
    m_twc.Start(0, true);
    m_twc.End(1);

    EXPECT_EQ(srcwatch_is_TWC(), -1);
    EXPECT_EQ(m_twc.Port(), -1);
}

}  // namespace
}  // namespace srcwatch_test
