// SPDX-License-Identifier: Apache-2.0
#include "PendingDetections.h"

#include "QDInfoNames.h"
#include "ServiceTest.h"

namespace srcwatch_test {
namespace {

class PendingDetections : public ServiceTest {
protected:
    // "progress index", as applications see them.
    static std::string Shown()
    {
        return std::to_string(NumberSetting(qdinfo::kHotplugProgressKey).value_or(-1)) + " " +
               std::to_string(NumberSetting(qdinfo::kActivityIndexKey).value_or(-1));
    }

    srcwatch::Settings m_settings;
    srcwatch::PendingDetections m_pending{m_settings};
};

TEST_F(PendingDetections, ShowTheFirstPortUntilTheLastHasEnded)
{
    m_pending.Begin(3);
    EXPECT_EQ(Shown(), "1 4");
    m_pending.Begin(1);
    EXPECT_EQ(Shown(), "1 2");
    m_pending.End(1);
    EXPECT_EQ(Shown(), "1 4");
    m_pending.End(3);
    EXPECT_EQ(Shown(), "0 0");
}

TEST_F(PendingDetections, ShowNothingWhenCleared)
{
    m_pending.Clear();
    EXPECT_EQ(Shown(), "0 0");
    m_pending.Begin(SRCWATCH_PORT_OPTICAL);
    EXPECT_EQ(Shown(), "1 100");
    m_pending.Clear();
    EXPECT_EQ(Shown(), "0 0");
}

TEST_F(PendingDetections, CountFromTheirBeginningAlsoAfterTheirEnd)
{
    m_pending.Begin(0);
    m_pending.End(0);
    ASSERT_TRUE(RunUntil([&] { return m_pending.MillisecondsSince(0) >= 50; }));

    const gint64 again = g_get_monotonic_time();
    m_pending.Begin(0);
    const int since = m_pending.MillisecondsSince(0);

    EXPECT_LE(since, (g_get_monotonic_time() - again) / 1000);
}

}  // namespace
}  // namespace srcwatch_test
