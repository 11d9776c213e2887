// SPDX-License-Identifier: Apache-2.0
#include "PendingDetections.h"

#include "ServiceTest.h"

namespace srcwatch_test {
namespace {

class PendingDetections : public ServiceTest {
protected:
    // "progress index", as applications see them.
    static std::string Shown()
    {
        return std::to_string(NumberSetting("memory/srcwatch-service/hotplug_progress").value_or(-1)) + " " +
               std::to_string(NumberSetting("memory/srcwatch-service/source-activity-index").value_or(-1));
    }

    srcwatch::PendingDetections m_Pending;
};

TEST_F(PendingDetections, ShowTheFirstPortUntilTheLastHasEnded)
{
    m_Pending.Begin(3);
    EXPECT_EQ(Shown(), "1 4");
    m_Pending.Begin(1);
    EXPECT_EQ(Shown(), "1 2");
    m_Pending.End(1);
    EXPECT_EQ(Shown(), "1 4");
    m_Pending.End(3);
    EXPECT_EQ(Shown(), "0 0");
}

TEST_F(PendingDetections, ShowNothingWhenCleared)
{
    m_Pending.Clear();
    EXPECT_EQ(Shown(), "0 0");
    m_Pending.Begin(SRCWATCH_PORT_OPTICAL);
    EXPECT_EQ(Shown(), "1 100");
    m_Pending.Clear();
    EXPECT_EQ(Shown(), "0 0");
}

TEST_F(PendingDetections, CountFromTheirBeginningAlsoAfterTheirEnd)
{
    m_Pending.Begin(0);
    m_Pending.End(0);
    ASSERT_TRUE(RunUntil([&] { return m_Pending.MillisecondsSince(0) >= 50; }));

    const gint64 again = g_get_monotonic_time();
    m_Pending.Begin(0);
    const int since = m_Pending.MillisecondsSince(0);

    EXPECT_LE(since, (g_get_monotonic_time() - again) / 1000);
}

}  // namespace
}  // namespace srcwatch_test
