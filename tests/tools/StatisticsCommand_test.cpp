// SPDX-License-Identifier: Apache-2.0
//
// stats.
#include "ToolTest.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace {

using namespace srcwatch_test;
using testing::HasSubstr;

class StatisticsCommand : public ToolTest {};

TEST_F(StatisticsCommand, ShowsTheLastEntryOfEachPort)
{
    Set(kStatisticsKey, R"({"Auto":[
        {"port":1,"pri":1,"t":5,"spd":["V","P","X"],"result":["old","",""]},
        {"port":1,"pri":2,"t":7,"spd":["Ven","Pro","X"],"result":["new","",""]},
        {"port":2,"pri":1}]})");

    const Json::Value entries = Document({"stats"}, "stats");

    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0]["port"], 1);
    EXPECT_EQ(entries[0]["hdmi_no"], 2);
    EXPECT_EQ(entries[0]["t"], 7);
    EXPECT_EQ(entries[0]["spd_vendor"], "Ven");
    EXPECT_EQ(entries[0]["spd_product"], "Pro");
    EXPECT_EQ(entries[0]["result_first"], "new");
    EXPECT_EQ(entries[1]["t"], -1);
}

TEST_F(StatisticsCommand, ShowsHowAndWhatWasDetected)
{
    Set(kStatisticsKey, R"({"Auto":[
        {"port":1,"pri":1,"t":5,"spd":["V","P","X"],"result":["old","brand","BD"],"vendor_id":"001a2b"},
        {"port":2,"pri":3,"result":["other","",""]},
        {"port":1,"t":6},
        {"port":1,"pri":2,"t":7,"result":["new",8,"PC"],"vendor_id":[],"spd":["two","texts"]}]})");

    const Json::Value entry = Document({"stats"}, "stats")[0];

    EXPECT_EQ(entry["method"], 2);
    EXPECT_EQ(entry["method_name"], "SPD InfoFrame");
    EXPECT_EQ(entry["type"], "PC");
    EXPECT_EQ(entry["result"], Parse(R"(["new", "8"])"));
    ASSERT_EQ(entry["history"].size(), 2U);
    EXPECT_EQ(entry["history"][0], Parse(R"({"t":5,"spd_vendor":"V","spd_product":"P","osd_name":"X",
        "vendor_id":"001a2b","method":1,"method_name":"profile","type":"BD","result":["old","brand"]})"));
    EXPECT_EQ(entry["history"][1]["spd_vendor"], "");
    EXPECT_EQ(entry["history"][1]["vendor_id"], "");
    EXPECT_THAT(Run({"stats", "-o", "raw"}).out, HasSubstr("1\tHDMI 2\t7 ms\t\t\tnew\tSPD InfoFrame\tPC\n"));
}

TEST_F(StatisticsCommand, IsEmptyWithoutADocument)
{
    EXPECT_EQ(Document({"stats"}, "stats").size(), 0U);
    EXPECT_EQ(Run({"stats"}).out, "");
}

TEST_F(StatisticsCommand, RefusesADamagedDocument)
{
    Set(kStatisticsKey, R"({"Auto":[{"port":1,"pri":"first"}]})");

    EXPECT_TRUE(Fails(Run({"stats"}), 1, kStatisticsKey));
}

constexpr const char* kRemembered = R"({"Auto":[
    {"port":1,"pri":1,"t":5,"spd":["V","P","X"],"result":["old","brand","BD"],"vendor_id":"001a2b","aksv":"0dbf0c7a29"},
    {"port":99,"pri":4,"result":["","","OTHER"]},
    {"port":8,"pri":1}, {"port":1},
    {"port":1,"pri":2,"t":7,"spd":["Ven","Pro","X"],"result":["new","brand","PC"],"aksv":""}]})";

TEST_F(StatisticsCommand, ExportsALineForEachDetection)
{
    Set(kStatisticsKey, kRemembered);
    StoreRecord(1, Parse(R"({"DenyCount":3})"));

    const Json::Value lines = Document({"stats", "--export", "--tv", "tv 7", "--firmware", "2.1"}, "stats --export");

    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0]["port"], 1);
    EXPECT_EQ(lines[0]["result"], Parse(R"(["old","brand"])"));
    EXPECT_EQ(lines[0]["vendor_id"], "001a2b");
    EXPECT_TRUE(lines[0]["denied"].isNull());
    EXPECT_EQ(lines[1]["port"], 99);
    EXPECT_EQ(lines[1]["denied"], 0);
    EXPECT_EQ(lines[2]["type"], "PC");
    EXPECT_EQ(lines[2]["denied"], 3);
    for (const Json::Value& line : lines) {
        EXPECT_EQ(line["event"], "remembered");
        EXPECT_EQ(line["tv"], "tv 7");
        EXPECT_EQ(line["firmware"], "2.1");
        EXPECT_TRUE(line["aksv_hash"].isNull());
    }
}

TEST_F(StatisticsCommand, ExportsLinesUnlessToldOtherwise)
{
    Set(kStatisticsKey, kRemembered);

    const Outcome outcome = Run({"stats", "--export"});

    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 3);
    EXPECT_EQ(outcome.out.find("0dbf0c7a29"), std::string::npos);
    const std::string first = outcome.out.substr(0, outcome.out.find('\n'));
    EXPECT_TRUE(Matches("detection_line", first));
    EXPECT_FALSE(Matches("detection_line", "{}"));
}

TEST_F(StatisticsCommand, ExportsHashedAksvs)
{
    Set(kStatisticsKey, kRemembered);
    WriteFile("key", "0123456789abcdef");

    const Json::Value lines = Document({"stats", "--export", "--aksv-key", Path("key")}, "stats --export");

    EXPECT_EQ(lines[0]["aksv_hash"], "a667e9c173334bcd8fd36df5ac8455e685845fa48a5b28a5e01c913a1d2a8f90");
    EXPECT_TRUE(lines[2]["aksv_hash"].isNull());
}

TEST_F(StatisticsCommand, ExportsNothingWithoutADocument)
{
    EXPECT_EQ(Document({"stats", "--export"}, "stats --export").size(), 0U);
    EXPECT_EQ(Run({"stats", "--export"}).out, "");
}

TEST_F(StatisticsCommand, ExportRefusesWhatItCannotUse)
{
    WriteFile("key", "short");

    EXPECT_TRUE(Fails(Run({"stats", "--export", "--aksv-key", Path("key")}), 1, "must have 16 to 4096 bytes"));
    EXPECT_TRUE(Fails(Run({"stats", "--export", "--aksv-key", Path("none")}), 1, "cannot be read"));
    EXPECT_TRUE(Fails(Run({"stats", "--export", "--tv", ""}), 2, "is not a text of 1 to 128 bytes"));
    EXPECT_TRUE(Fails(Run({"stats", "--tv", "7"}), 2, "--export"));
    Set(kStatisticsKey, R"({"Auto":[{"port":1,"pri":"first"}]})");
    EXPECT_TRUE(Fails(Run({"stats", "--export"}), 1, kStatisticsKey));
    Set(kStatisticsKey, kRemembered);
    Set(kActivityKey, "damaged");
    EXPECT_TRUE(Fails(Run({"stats", "--export"}), 1, kActivityKey));
}

}  // namespace
