// SPDX-License-Identifier: Apache-2.0
//
// The store: one record, and statistics.
#include "StoreTest.h"

#include <algorithm>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;

// ---------------------------------------------------------------------------------------------------------------------
// Loading one record

TEST_F(Store, LoadsTheStoredRecordOfAPort)
{
    GivenText(0, R"({"activity":[{"a":1},{"b":2},null,[3],"four",5]})");
    const char* const records[] = {R"({"a":1})", R"({"b":2})", "null", "[3]", "\"four\"", "5", "null", "null"};
    for (int port = 0; port < 8; ++port) {
        ForgetCalls();
        EXPECT_TRUE(store.t_LoadPortJsonInfoToMemory(port, out));
        EXPECT_EQ(TextOf(out), records[port]);
        EXPECT_EQ(platform.sequence, OneRead(port));
    }
    EXPECT_TRUE(store.t_LoadPortJsonInfoToMemory(INT_MAX, out));
    EXPECT_TRUE(out.isNull());
}

TEST_F(Store, RefusesANegativePortByTheNameOfTheTableLoader)
{
    GivenText(0, R"({"activity":[{}]})");
    for (const int port : {-1, INT_MIN}) {
        Json::Value array(Json::arrayValue);
        const std::string what = JsonErrorOf([&] { static_cast<void>(array[port]); });
        EXPECT_EQ(ExceptionOf([&] { return store.t_LoadPortJsonInfoToMemory(port, out); }),
                  "t_LoadPortJsonInfoToMemory: Exception Handled by t_LoadActivityInfoToMemory: " + what);
        EXPECT_EQ(platform.log.back().format,
                  "%s: %s(%d) > <%ld> Exception Handled by t_LoadActivityInfoToMemory: %s\n");
        EXPECT_EQ(out, "before");
    }
}

TEST_F(Store, LoadsNoRecordOfADocumentOfAnotherShape)
{
    for (const char* text : {"[]", "7", "true", R"("text")", R"({"activity":{}})", R"({"activity":7})"}) {
        GivenText(0, text);
        EXPECT_EQ(ExceptionOf([&] {
                      return store.t_LoadPortJsonInfoToMemory(0, out);
                  }).find("t_LoadPortJsonInfoToMemory: Exception Handled by t_LoadActivityInfoToMemory: "),
                  0U);
        EXPECT_EQ(out, "before");
    }
    for (const char* text : {"null", "{}", R"({"activity":null})", R"({"activity":[]})"}) {
        GivenText(0, text);
        EXPECT_TRUE(store.t_LoadPortJsonInfoToMemory(0, out));
        EXPECT_TRUE(out.isNull());
    }
}

TEST_F(Store, LoadsNoRecordWithoutText)
{
    EXPECT_FALSE(store.t_LoadPortJsonInfoToMemory(0, out));
    EXPECT_FALSE(store.t_LoadOpticalPortJsonInfoToMemory(0, out));
    EXPECT_EQ(out, "before");
    EXPECT_THAT(platform.sequence,
                ElementsAre("gets " + kHdmi, Own("E", "t_LoadPortJsonInfoToMemory", "get " + kHdmi + " failed!"),
                            "gets " + kOpt, Own("E", "t_LoadOpticalPortJsonInfoToMemory", "get " + kOpt + " failed!")));
}

TEST_F(Store, LoadsNoRecordSilentlyIfTheTextIsNotJson)
{
    GivenText(0, "torn");
    GivenText(kOptical, "");
    EXPECT_FALSE(store.t_LoadPortJsonInfoToMemory(0, out));
    EXPECT_FALSE(store.t_LoadOpticalPortJsonInfoToMemory(0, out));
    EXPECT_EQ(out, "before");
    EXPECT_THAT(platform.sequence,
                ElementsAre("gets " + kHdmi, Succeeded("t_LoadPortJsonInfoToMemory", kHdmi, "torn"), "gets " + kOpt,
                            Succeeded("t_LoadOpticalPortJsonInfoToMemory", kOpt, "")));
}

TEST_F(Store, LoadsTheOpticalRecordForAnyPort)
{
    for (const char* activity : {R"({"BName":"x"})", "[1,2]", "null", "5", R"("text")"}) {
        GivenText(kOptical, std::string(R"({"activity":)") + activity + "}");
        for (const int port : {INT_MIN, -1, 0, 7, 99, INT_MAX}) {
            ForgetCalls();
            EXPECT_TRUE(store.t_LoadOpticalPortJsonInfoToMemory(port, out));
            EXPECT_EQ(TextOf(out), activity);
            EXPECT_EQ(platform.sequence, OneRead(kOptical));
        }
    }
}

TEST_F(Store, LogsAnOpticalDocumentThatIsNotAnObject)
{
    for (const char* text : {"[]", "7", R"("text")"}) {
        GivenText(kOptical, text);
        EXPECT_EQ(ExceptionOf([&] { return store.t_LoadOpticalPortJsonInfoToMemory(99, out); })
                      .find("t_LoadOpticalPortJsonInfoToMemory: "
                            "Exception Handled by t_LoadOpticalPortJsonInfoToMemory: "),
                  0U);
        EXPECT_EQ(platform.log.back().format,
                  "%s: %s(%d) > <%ld> Exception Handled by t_LoadOpticalPortJsonInfoToMemory: %s\n");
    }
}

TEST_F(Store, LogsADocumentOfARecordThatIsNestedTooDeep)
{
    const std::string deep(10000, '[');
    GivenText(0, deep);
    GivenText(kOptical, "{\"activity\":" + deep);
    Json::Value root;
    const std::string what = JsonErrorOf([&] { ParseJson(deep, root); });

    EXPECT_EQ(ExceptionOf([&] { return store.t_LoadOpticalPortJsonInfoToMemory(99, out); }),
              "t_LoadOpticalPortJsonInfoToMemory: Exception Handled by t_LoadOpticalPortJsonInfoToMemory: " + what);
    EXPECT_EQ(ExceptionOf([&] { return store.t_LoadPortJsonInfoToMemory(0, out); }),
              "t_LoadPortJsonInfoToMemory: Exception Handled by t_LoadActivityInfoToMemory: " + what);
    EXPECT_EQ(out, "before");
}

TEST_F(Store, LeavesTheTableWhenItLoadsOneRecord)
{
    FillTable();
    GivenText(0, R"({"activity":[{"BName":"stored"}]})");
    GivenText(kOptical, R"({"activity":{"BName":"stored"}})");
    GivenStatistics(R"({"Auto":[{"port":0,"pri":0}]})");
    std::vector<Json::Value> all(static_cast<std::size_t>(std::max(HDMI_PORT_COUNT, 1)));

    EXPECT_TRUE(store.t_LoadPortJsonInfoToMemory(0, out));
    EXPECT_TRUE(store.t_LoadOpticalPortJsonInfoToMemory(99, out));
    EXPECT_TRUE(store.t_LoadPortJsonKPIInfoToMemory(0, out));
    EXPECT_TRUE(store.t_LoadAllJsonKPIInfoToMemory(all.data()));

    EXPECT_TRUE(store.t_SaveActivityInfoToFile());
    EXPECT_EQ(platform.settings.texts[kHdmi], TableText());
    EXPECT_STREQ(store.GetBrandName(kOptical), "");
}

// ---------------------------------------------------------------------------------------------------------------------
// Statistics

class StatisticsLoad : public Store {
protected:
    // The entry of a port as text, by the loader of one port.
    std::string Entry(int port)
    {
        Json::Value entry;
        EXPECT_TRUE(store.t_LoadPortJsonKPIInfoToMemory(port, entry));
        return TextOf(entry);
    }

    std::vector<Json::Value> All(bool expected = true)
    {
        std::vector<Json::Value> entries(static_cast<std::size_t>(std::max(HDMI_PORT_COUNT, 0)) + 1);
        entries.back() = "guard";
        EXPECT_EQ(store.t_LoadAllJsonKPIInfoToMemory(entries.data()), expected);
        EXPECT_EQ(entries.back(), "guard");
        entries.pop_back();
        return entries;
    }
};

TEST_F(StatisticsLoad, TakesAPortsLastEntryOfPriorityUpToNine)
{
    GivenStatistics(R"({"Auto":[
        {"port":1,"pri":5,"n":0},{"port":1,"pri":3,"n":1},{"port":1,"pri":10,"n":2},{"port":1,"n":3},
        {"port":0,"pri":9,"n":4},null,{"port":0,"pri":11,"n":5},
        {"port":2,"pri":-2147483648,"n":6},{"port":2,"pri":2147483647,"n":7}]})");

    EXPECT_EQ(Entry(0), R"({"n":4,"port":0,"pri":9})");
    EXPECT_EQ(Entry(1), R"({"n":1,"port":1,"pri":3})");
    EXPECT_EQ(Entry(2), R"({"n":6,"port":2,"pri":-2147483648})");
    EXPECT_EQ(Entry(3), "null");
    const std::vector<Json::Value> all = All();
    for (std::size_t port = 0; port < all.size(); ++port) EXPECT_EQ(TextOf(all[port]), Entry(static_cast<int>(port)));
    EXPECT_EQ(platform.SequenceWithoutLog(), std::vector<std::string>(platform.sequence.size(), kRead));
}

TEST_F(StatisticsLoad, TakesAnEntryWithoutPortForPortMinusOne)
{
    GivenStatistics(R"({"Auto":[{"pri":1,"n":0},{"pri":10,"n":1},{"n":2}]})");
    EXPECT_EQ(Entry(-1), R"({"n":0,"pri":1})");
    EXPECT_EQ(Entry(0), "null");
    for (const Json::Value& entry : All()) EXPECT_TRUE(entry.isNull());
}

TEST_F(StatisticsLoad, ReadsANullMemberAsZero)
{
    GivenStatistics(R"({"Auto":[{"port":null,"pri":null}]})");
    EXPECT_EQ(Entry(0), R"({"port":null,"pri":null})");
    EXPECT_EQ(Entry(-1), "null");
}

TEST_F(StatisticsLoad, TestsNoRangeForOnePortButForAllOfThem)
{
    std::string list =
        R"({"port":-1,"pri":0},{"port":99,"pri":0},{"port":2147483647,"pri":0},{"port":-2147483648,"pri":0})";
    for (int port = 0; port < 20; ++port) list += R"(,{"port":)" + std::to_string(port) + R"(,"pri":0})";
    GivenStatistics(R"({"Auto":[)" + list + "]}");

    for (const int port : {-1, 99, INT_MAX, INT_MIN, 0, 19}) {
        EXPECT_EQ(Entry(port), R"({"port":)" + std::to_string(port) + R"(,"pri":0})");
    }
    const std::vector<Json::Value> all = All();
    for (std::size_t port = 0; port < all.size(); ++port) EXPECT_EQ(all[port]["port"], static_cast<int>(port));
}

TEST_F(StatisticsLoad, LeavesTheOutputWithoutAnEntry)
{
    GivenStatistics(R"({"Auto":[{"port":5,"pri":10}]})");
    EXPECT_TRUE(store.t_LoadPortJsonKPIInfoToMemory(5, out));
    EXPECT_EQ(out, "before");
}

TEST_F(StatisticsLoad, FailsSilentlyWithoutAList)
{
    const auto expectSilentFailure = [this] {
        ForgetCalls();
        EXPECT_FALSE(store.t_LoadPortJsonKPIInfoToMemory(0, out));
        All(false);
        EXPECT_EQ(out, "before");
        EXPECT_THAT(platform.sequence, ElementsAre(kRead, kRead));
    };
    expectSilentFailure();
    for (const char* text : {"", "torn", "null", "{}", R"({"Auto":null})", R"({"auto":[]})"}) {
        GivenStatistics(text);
        expectSilentFailure();
    }
}

TEST_F(StatisticsLoad, FindsNothingInAListThatHasNoElements)
{
    for (const char* text : {R"({"Auto":[]})", R"({"Auto":{}})", R"({"Auto":0})", R"({"Auto":7})", R"({"Auto":true})",
                             R"({"Auto":"text"})", R"({"Auto":1.5})", R"({"Auto":[null]})"}) {
        GivenStatistics(text);
        EXPECT_TRUE(store.t_LoadPortJsonKPIInfoToMemory(0, out)) << text;
        EXPECT_EQ(out, "before");
        All(true);
    }
    EXPECT_TRUE(platform.log.empty());
}

TEST_F(StatisticsLoad, LogsWhatItCannotRead)
{
    const std::string texts[] = {"[]",
                                 "7",
                                 R"("Auto")",
                                 R"({"Auto":{"a":{"port":0,"pri":0}}})",
                                 R"({"Auto":[7]})",
                                 R"({"Auto":["text"]})",
                                 R"({"Auto":[[]]})",
                                 R"({"Auto":[{"port":"0"}]})",
                                 R"({"Auto":[{"port":[]}]})",
                                 R"({"Auto":[{"port":2147483648}]})",
                                 R"({"Auto":[{"port":0,"pri":"1"}]})",
                                 R"({"Auto":[{"port":0,"pri":1e300}]})",
                                 "{\"Auto\":" + std::string(10000, '[')};
    for (const std::string& text : texts) {
        GivenStatistics(text);
        EXPECT_EQ(ExceptionOf([&] {
                      return store.t_LoadPortJsonKPIInfoToMemory(0, out);
                  }).find("t_LoadPortJsonKPIInfoToMemory: Exception Handled by t_LoadPortJsonKPIInfoToMemory: "),
                  0U)
            << text;
        EXPECT_EQ(platform.log.back().format,
                  "%s: %s(%d) > <%ld> Exception Handled by t_LoadPortJsonKPIInfoToMemory: %s\n");
        if (HDMI_PORT_COUNT < 1) continue;  // then no priority is read
        EXPECT_EQ(ExceptionOf([&] {
                      All(false);
                      return false;
                  }).find("t_LoadAllJsonKPIInfoToMemory: Exception Handled by t_LoadAllJsonKPIInfoToMemory: "),
                  0U);
        EXPECT_EQ(platform.log.back().format,
                  "%s: %s(%d) > <%ld> Exception Handled by t_LoadAllJsonKPIInfoToMemory: %s\n");
    }
    EXPECT_EQ(out, "before");
}

TEST_F(StatisticsLoad, ReadsNoPriorityOfAnotherPort)
{
    GivenStatistics(R"({"Auto":[{"port":1,"pri":"one"},{"port":0,"pri":1}]})");
    EXPECT_EQ(Entry(0), R"({"port":0,"pri":1})");
}

TEST_F(StatisticsLoad, ReadsNoPriorityOfAPortOutsideTheInputs)
{
    std::string list = R"({"pri":"one"})";
    for (const int port : {INT_MIN, -1, std::max(HDMI_PORT_COUNT, 0), HDMI_PORT_COUNT + 1, 99, INT_MAX}) {
        list += R"(,{"port":)" + std::to_string(port) + R"(,"pri":"one"})";
    }
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) list += R"(,{"port":)" + std::to_string(port) + R"(,"pri":1})";
    GivenStatistics(R"({"Auto":[)" + list + "]}");

    for (const Json::Value& entry : All()) EXPECT_EQ(entry["pri"], 1);

    EXPECT_THAT(platform.sequence, ElementsAre(kRead));
}

TEST_F(StatisticsLoad, KeepsAnEntryThatItTookBeforeAnException)
{
    GivenStatistics(R"({"Auto":[{"port":0,"pri":1},{"port":"x"}]})");
    EXPECT_FALSE(store.t_LoadPortJsonKPIInfoToMemory(0, out));
    EXPECT_EQ(TextOf(out), R"({"port":0,"pri":1})");

    const std::vector<Json::Value> all = All(false);
    if (!all.empty()) {
        EXPECT_EQ(all[0], out);
    }
}

}  // namespace
