// SPDX-License-Identifier: Apache-2.0
#include "RoomTest.h"

namespace srcwatch_test {

const char* const kActivityKey = "db/srcwatch-service/source-activity";
const char* const kStatisticsKey = "db/srcwatch-service/spd_aksv_1";

void FakeAnnouncer::Add(std::string event, const std::vector<int>& numbers)
{
    for (const int number : numbers) event += " " + std::to_string(number);
    events.push_back(std::move(event));
}

srcwatch::Record RecordOfType(int type)
{
    srcwatch::Record record;
    record.device.deviceType = type;
    return record;
}

void RoomTest::StartDetector()
{
    m_detector.LoadProfiles({SRCWATCH_PROFILES_FILE});
    ASSERT_EQ(m_detector.Start(m_inputs.Path()), "");
}

bool RoomTest::WaitForAnnouncements(std::size_t count)
{
    return RunUntil([&] { return m_announcer.events.size() >= count; });
}

}  // namespace srcwatch_test
