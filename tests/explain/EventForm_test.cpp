// SPDX-License-Identifier: Apache-2.0
#include "EventForm.h"

#include "Handle.h"

#include <cstring>

#include <gmock/gmock.h>

namespace srcwatch {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

srcwatch_event_s Event(int type, int first, int second)
{
    srcwatch_event_s event{};
    event.type = type;
    event.args[0] = first;
    event.args[1] = second;
    return event;
}

TEST(EventForm, PutsAnEventIntoWords)
{
    srcwatch_event_s detected = Event(SRCWATCH_EVENT_DETECTED, 2, SRCWATCH_DEVICE_PC);
    std::strcpy(detected.str_args[0], "Desk");

    EXPECT_THAT(EventWords(Event(SRCWATCH_EVENT_CONNECTION, 1, 1)), ElementsAre("port 1", "plugged"));
    EXPECT_THAT(EventWords(Event(SRCWATCH_EVENT_CONNECTION, 1, 0)), ElementsAre("port 1", "unplugged"));
    EXPECT_THAT(EventWords(detected),
                ElementsAre("port 2", "type 9 (PC)", "unchanged", "device \"Desk\"", "brand \"\"", "provider \"\""));
    EXPECT_THAT(EventWords(Event(SRCWATCH_EVENT_SCAN_PROGRESS, 40, 3)), ElementsAre("40 %", "port 3"));
    EXPECT_THAT(EventWords(Event(SRCWATCH_EVENT_SCAN_FINISHED, -1, 2)), ElementsAre("result -1", "2 device(s) found"));
    EXPECT_THAT(EventWords(Event(SRCWATCH_EVENT_RECORDS_SAVED, 5, 5)), ElementsAre());
}

TEST(EventForm, ShowsAllOfAnEventWithoutAName)
{
    const std::vector<std::string> words = EventWords(Event(77, 7, 8));

    ASSERT_FALSE(words.empty());
    EXPECT_EQ(words.front(), "7 8 0 0 0 0 0 0 0 0");
    EXPECT_EQ(EventTypeName(77), "77");
}

TEST(EventForm, DecodesAnEventAndKeepsItsRawValues)
{
    srcwatch_event_s event = Event(SRCWATCH_EVENT_DETECTED, 99, SRCWATCH_DEVICE_HOME_THEATRE);
    std::memset(event.str_args[0], 'x', sizeof event.str_args[0]);  // without a terminator

    const Json::Value json = EventToJson(event);

    EXPECT_EQ(json["name"], "detected");
    EXPECT_EQ(json["port"], 99);
    EXPECT_EQ(json["type_name"], "home theatre");
    EXPECT_EQ(json["device"].asString(), std::string(100, 'x'));
    EXPECT_EQ(json["args"].size(), 10U);
    EXPECT_EQ(json["args"][1], SRCWATCH_DEVICE_HOME_THEATRE);
    EXPECT_THAT(json["time"].asString(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}Z"));
}

TEST(EventForm, FormatsATimeWithItsMilliseconds)
{
    const Handle<GDateTime, g_date_time_unref> time(g_date_time_new_utc(2026, 5, 17, 8, 9, 10.0625));

    EXPECT_EQ(FormatTime(time.get(), "%H:%M:%S"), "08:09:10.062");
}

}  // namespace
}  // namespace srcwatch
