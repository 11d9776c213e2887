// SPDX-License-Identifier: Apache-2.0
#include "RoomTest.h"

#include "QDInfoNames.h"
#include "srcwatch-protocol.h"

#include <map>

namespace srcwatch_test {

const char* const kActivityKey = qdinfo::kSourceActivityKey;
const char* const kStatisticsKey = qdinfo::kStatisticsKey;

void FakeAnnouncer::Send(int type, int first, int second, int third, const srcwatch::Classification& /*names*/)
{
    static const std::map<int, std::string> names = {{SRCWATCH_EVENT_CONNECTION, "connection"},
                                                     {SRCWATCH_EVENT_DETECTED, "detected"},
                                                     {SRCWATCH_EVENT_SCAN_PROGRESS, "progress"},
                                                     {SRCWATCH_EVENT_SCAN_FINISHED, "finished"}};
    std::string event = names.at(type) + " " + std::to_string(first) + " " + std::to_string(second);
    if (type == SRCWATCH_EVENT_SCAN_FINISHED) event += " " + std::to_string(third);
    events.push_back(event);
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
    ASSERT_EQ(m_detector.Start(), "");
}

bool RoomTest::WaitForAnnouncements(std::size_t count)
{
    return RunUntil([&] { return m_announcer.events.size() >= count; });
}

}  // namespace srcwatch_test
