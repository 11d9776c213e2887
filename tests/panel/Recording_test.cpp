// SPDX-License-Identifier: Apache-2.0
#include "Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using panel::ParseRecording;
using panel::Recording;
using testing::HasSubstr;

constexpr char kSnapshot[] =
    R"({"at":10,"time":"","kind":"snapshot","version":1,"settings":{},"inputs":[{"port":0,"capture":{"cec":"a"}}]})";
constexpr char kPlugged[] = R"({"at":11.5,"time":"","kind":"input","port":1,"capture":{"cec":"b"}})";
constexpr char kUnplugged[] = R"({"at":13,"time":"","kind":"input","port":0,"capture":null})";
constexpr char kEvent[] = R"({"at":14,"time":"","kind":"event","type":4097,"message":"2\t1\t"})";

std::string Lines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

TEST(PanelRecording, HasALineForEachEntry)
{
    const Recording recording = ParseRecording(Lines({kSnapshot, kPlugged, kUnplugged, kEvent}));

    ASSERT_EQ(recording.timeline.size(), 4U);
    EXPECT_EQ(recording.timeline[1]["text"], "hdmi2: a device");
    EXPECT_EQ(recording.timeline[1]["at"], 1.5);
    EXPECT_EQ(recording.timeline[2]["text"], "hdmi1: no device");
    EXPECT_EQ(recording.timeline[3]["text"], "detected");
    EXPECT_EQ(recording.timeline[3]["port"], 2);
    EXPECT_TRUE(recording.timeline[0]["port"].isNull());
}

TEST(PanelRecording, CutsLongTexts)
{
    const std::string setting =
        R"({"at":11,"time":"","kind":"setting","key":"memory/a","value":")" + std::string(5000, 'x') + "\"}";

    const Recording recording = ParseRecording(Lines({kSnapshot, setting}));

    ASSERT_EQ(recording.timeline.size(), 2U) << recording.fault;
    EXPECT_LT(recording.timeline[1]["text"].asString().size(), 300U);
}

TEST(PanelRecording, GoesOnlyForward)
{
    const std::string earlier = R"({"at":1,"time":"","kind":"input","port":1,"capture":{"cec":"b"}})";

    const Recording recording = ParseRecording(Lines({kSnapshot, kUnplugged, earlier}));

    EXPECT_EQ(recording.length, 3);
    EXPECT_EQ(recording.timeline[2]["at"].asDouble(), 3);
}

TEST(PanelRecording, HasALengthThatIsANumber)
{
    const std::string first = R"({"at":-1e308,"time":"","kind":"snapshot","version":1})";
    const std::string last = R"({"at":1e308,"time":"","kind":"input","port":1,"capture":null})";

    EXPECT_EQ(ParseRecording(Lines({first, last})).length, 1e9);
}

TEST(PanelRecording, NamesTheLineThatIsNone)
{
    EXPECT_EQ(ParseRecording("").fault, "it is empty");
    EXPECT_THAT(ParseRecording(Lines({kPlugged})).fault, HasSubstr("line 1: it is not a snapshot"));
    EXPECT_THAT(ParseRecording(Lines({kSnapshot, "x"})).fault, HasSubstr("line 2: it is not JSON"));
    EXPECT_THAT(ParseRecording(Lines({kSnapshot, "[]"})).fault, HasSubstr("line 2: "));
    std::string fault;
    EXPECT_FALSE(panel::ReadRecording("/nonexistent", fault));
    EXPECT_EQ(fault, "no such recording");
}

}  // namespace
