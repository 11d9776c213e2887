// SPDX-License-Identifier: Apache-2.0
#include "Lines.h"

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;

// Returns the times of the entries, after a check that there is no fault.
std::vector<double> TimesOf(const std::string& text)
{
    const auto entries = EntriesOf(text);
    std::vector<double> times;
    while (const auto entry = entries->Next()) times.push_back(entry->at);
    EXPECT_EQ(entries->Fault(), "");
    return times;
}

std::string FaultOf(const std::string& text)
{
    const auto entries = EntriesOf(text);
    while (entries->Next()) {
    }
    EXPECT_FALSE(entries->Next());
    return entries->Fault();
}

TEST(EntrySource, CountsTimeFromTheFirstEntry)
{
    EXPECT_THAT(TimesOf(Lines({kSnapshot, kPlugged, kUnplugged})), testing::ElementsAre(0, 1.5, 3));
}

TEST(EntrySource, GoesOnlyForward)
{
    EXPECT_THAT(TimesOf(Lines({kSnapshot, kUnplugged, kPlugged})), testing::ElementsAre(0, 3, 3));
}

TEST(EntrySource, HasTimesThatAreNumbers)
{
    const std::string first = R"({"at":-1e308,"time":"","kind":"snapshot","version":1})";
    const std::string last = R"({"at":1e308,"time":"","kind":"input","port":1,"capture":null})";

    EXPECT_THAT(TimesOf(Lines({first, last})), testing::ElementsAre(0, 1e9));
}

TEST(EntrySource, NumbersTheLines)
{
    const auto entries = EntriesOf(Lines({kSnapshot, kEvent}));

    EXPECT_EQ(entries->Next()->number, 1U);
    EXPECT_EQ(entries->Next()->number, 2U);
    EXPECT_FALSE(entries->Next());
}

TEST(EntrySource, NamesTheLineThatIsNone)
{
    EXPECT_EQ(FaultOf(""), "it is empty");
    EXPECT_EQ(FaultOf(Lines({kPlugged})), srcwatch::kNoRecording);
    EXPECT_EQ(FaultOf(Lines({"x"})), srcwatch::kNoRecording);
    EXPECT_EQ(FaultOf(Lines({kSnapshot, "x"})), "line 2: it is not JSON");
    EXPECT_EQ(FaultOf(Lines({kSnapshot, kEvent, "[]"})), "line 3: it is not a JSON object");
    EXPECT_EQ(FaultOf(Lines({kSnapshot, std::string(3, '\0'), kEvent})), "line 2: it is not JSON");
    EXPECT_EQ(FaultOf(Lines({kSnapshot}) + kEvent),
              "line 2: it is cut off; 'head -n 1' keeps the whole lines before it");
}

}  // namespace
