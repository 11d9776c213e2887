// SPDX-License-Identifier: Apache-2.0
//
// The store: what it writes, what it reads, and what it says. Announcements find no bus here.
#include "QDInfoServerData.h"

#include "QDInfoCommon.h"
#include "QueryTest.h"

#include <algorithm>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDInfoServerData;
using testing::ElementsAre;

const std::string kHdmi = kHdmiKey;
const std::string kOpt = kOpticalKey;
const std::string kRead = std::string("gets ") + kStatisticsKey;

std::string Own(const char* priority, const char* function, const std::string& message)
{
    return std::string(priority) + " QDInfoServerData.cpp " + function + ": " + message;
}

std::string Succeeded(const char* function, const std::string& key, const std::string& text)
{
    return Own("D", function, " get " + key + " succeed! <" + text + ">");
}

class Store : public QueryTest {
protected:
    // A record of each HDMI port, with the port's number in its members.
    void FillTable()
    {
        store.CreateAndAddNewActivity();
        for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
            store.SetPortNumber(port);
            store.SetBrandName(("brand" + std::to_string(port)).c_str(), port);
        }
        ForgetCalls();
    }

    // Calls load, and gives the message of the exception that it logged last.
    std::string ExceptionOf(const std::function<bool()>& load)
    {
        ForgetCalls();
        EXPECT_FALSE(load());
        EXPECT_FALSE(platform.log.empty());
        EXPECT_EQ(platform.log.back().priority, DLOG_ERROR);
        return platform.log.back().function + ": " + platform.log.back().message;
    }

    void GivenStatistics(const std::string& text) { platform.settings.texts[kStatisticsKey] = text; }

    CQDInfoServerData store;
    Json::Value out = "before";
};

std::string SizeLine(int size)
{
    return "E QDInfoData.cpp GetActivityInfoToStream: t_ActivityInfo.size() = " + std::to_string(size) + " ";
}

// One record as the writer lays it out.
std::string RecordText(const std::string& brand, int port)
{
    return "\t\t{\n"
           "\t\t\t\"AKSV\" : \"\",\n"
           "\t\t\t\"BName\" : \"" +
           brand +
           "\",\n"
           "\t\t\t\"CDevName\" : \"\",\n"
           "\t\t\t\"CECName\" : \"\",\n"
           "\t\t\t\"CName\" : \"\",\n"
           "\t\t\t\"Changed\" : 0,\n"
           "\t\t\t\"DMethod\" : 0,\n"
           "\t\t\t\"DenyCount\" : 0,\n"
           "\t\t\t\"DevName\" : \"\",\n"
           "\t\t\t\"DevType\" : 0,\n"
           "\t\t\t\"MFName\" : \"\",\n"
           "\t\t\t\"ModelName\" : \"\",\n"
           "\t\t\t\"PRName\" : \"\",\n"
           "\t\t\t\"PortNum\" : " +
           std::to_string(port) +
           ",\n"
           "\t\t\t\"PrevPort\" : 0,\n"
           "\t\t\t\"ScanState\" : 0,\n"
           "\t\t\t\"UnknownType\" : \"\",\n"
           "\t\t\t\"sDevType\" : \"\"\n"
           "\t\t}";
}

std::string TableText()
{
    if (HDMI_PORT_COUNT < 1) return "null";
    std::string records;
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
        records += (port == 0 ? "" : ",\n") + RecordText("brand" + std::to_string(port), port);
    }
    return "{\n\t\"activity\" : \n\t[\n" + records + "\n\t]\n}";
}

// --- saving

TEST_F(Store, SavesTheTableAsIndentedSortedText)
{
    FillTable();

    EXPECT_TRUE(store.t_SaveActivityInfoToFile());

    EXPECT_EQ(platform.settings.texts[kHdmi], TableText());
    EXPECT_THAT(platform.sequence,
                ElementsAre(SizeLine(std::max(HDMI_PORT_COUNT, 0)), "sets " + kHdmi + " " + TableText(),
                            Own("D", "t_SaveActivityInfoToFile", " set " + kHdmi + " succeed! <" + TableText() + ">")));
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld>  set %s succeed! <%s>\n");
}

TEST_F(Store, SavesAnEmptyTableAsNull)
{
    EXPECT_TRUE(store.t_SaveActivityInfoToFile());
    EXPECT_EQ(platform.settings.texts[kHdmi], "null");
}

TEST_F(Store, TellsAtDebugThatASaveFailed)
{
    FillTable();
    GivenText(0, "kept");
    platform.settings.unwritable.insert(kHdmi);

    EXPECT_FALSE(store.t_SaveActivityInfoToFile());

    EXPECT_EQ(platform.settings.texts[kHdmi], "kept");
    EXPECT_EQ(platform.sequence.back(),
              Own("D", "t_SaveActivityInfoToFile", " set " + kHdmi + " failed! <" + TableText() + ">"));
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld>  set %s failed! <%s>\n");
}

TEST_F(Store, EscapesWhatIsNotAsciiAndKeepsItThroughARoundTrip)
{
    if (HDMI_PORT_COUNT < 1) GTEST_SKIP() << "needs an HDMI input";
    FillTable();
    const char* brand = "caf\xc3\xa9 \"q\" \\ \x01 \xe2\x98\x83";
    store.SetBrandName(brand, 0);

    EXPECT_TRUE(store.t_SaveActivityInfoToFile());
    CQDInfoServerData other;
    EXPECT_TRUE(other.t_LoadActivityInfoToMemory());

    EXPECT_NE(platform.settings.texts[kHdmi].find(R"(caf\u00e9 \"q\" \\ \u0001 \u2603)"), std::string::npos);
    EXPECT_STREQ(other.GetBrandName(0), brand);
}

TEST_F(Store, NeverWritesTheOpticalRecord)
{
    FillTable();
    store.SetBrandName("optical", kOptical);

    store.t_CheckAndSaveActivity(0);
    store.t_CheckAndSaveActivity(kOptical);

    EXPECT_EQ(platform.settings.texts.count(kOpt), 0U);
    EXPECT_EQ(platform.settings.texts[kHdmi].find("optical"), std::string::npos);
}

TEST_F(Store, SavesAndAnnouncesForEveryPortButTheOptical)
{
    for (const int port : {INT_MIN, -1, 0, 7, 8, 98, 100, INT_MAX}) {
        for (const bool notify : {false, true}) {
            ForgetCalls();
            notify ? store.t_CheckAndSaveActivityWithNotify(port) : store.t_CheckAndSaveActivity(port);
            EXPECT_THAT(
                SequenceWithoutBusReason(),
                ElementsAre(SizeLine(0), "sets " + kHdmi + " null",
                            Own("D", "t_SaveActivityInfoToFile", " set " + kHdmi + " succeed! <null>"), kNoBus));
        }
    }
}

TEST_F(Store, OnlyAnnouncesForTheOpticalPort)
{
    store.t_CheckAndSaveActivity(kOptical);
    store.t_CheckAndSaveActivityWithNotify(kOptical);
    EXPECT_THAT(SequenceWithoutBusReason(), ElementsAre(kNoBus, kNoBus));
}

class CountingStore : public CQDInfoServerData {
public:
    bool t_SaveActivityInfoToFile() override
    {
        ++saves;
        return false;
    }
    bool t_LoadActivityInfoToMemory() override
    {
        ++loads;
        return loads == 2;
    }
    int saves = 0;
    int loads = 0;
};

TEST_F(Store, SavesAndLoadsThroughItsVirtualFunctions)
{
    CountingStore counting;

    counting.t_CheckAndSaveActivity(0);
    counting.t_CheckAndSaveActivityWithNotify(0);
    counting.t_CheckAndSaveActivity(kOptical);
    counting.t_CheckAndSaveActivityWithNotify(kOptical);
    EXPECT_EQ(counting.saves, 2);
    EXPECT_THAT(SequenceWithoutBusReason(), ElementsAre(kNoBus, kNoBus, kNoBus, kNoBus));

    EXPECT_FALSE(counting.t_Initialize());
    EXPECT_TRUE(counting.t_Initialize());
    EXPECT_EQ(counting.loads, 2);
}

TEST_F(Store, HasNothingToUninitialise)
{
    FillTable();
    store.t_UnInitialize();
    EXPECT_TRUE(platform.sequence.empty());
    EXPECT_TRUE(store.t_SaveActivityInfoToFile());
    EXPECT_EQ(platform.settings.texts[kHdmi], TableText());
}

// --- loading the table

class TableLoad : public Store {
protected:
    bool Load() { return store.t_LoadActivityInfoToMemory(); }

    // Saves, and gives the stored text: the table as it is.
    std::string Table()
    {
        const auto before = platform.settings.texts;
        EXPECT_TRUE(store.t_SaveActivityInfoToFile());
        std::string table = platform.settings.texts[kHdmi];
        platform.settings.texts = before;
        return table;
    }
};

TEST_F(TableLoad, ReplacesTheTable)
{
    GivenText(0, TableText());
    store.CreateAndAddNewActivity();
    store.CreateAndAddNewActivity();
    ForgetCalls();

    EXPECT_TRUE(Load());

    EXPECT_THAT(platform.sequence,
                ElementsAre("gets " + kHdmi, Succeeded("t_LoadActivityInfoToMemory", kHdmi, TableText())));
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld>  get %s succeed! <%s>\n");
    EXPECT_EQ(Table(), TableText());
}

TEST_F(TableLoad, IsTheInitialisation)
{
    GivenText(0, TableText());
    EXPECT_TRUE(store.t_Initialize());
    EXPECT_EQ(Table(), TableText());
    platform.settings.texts.clear();
    EXPECT_FALSE(store.t_Initialize());
}

TEST_F(TableLoad, KeepsTheTableWithoutText)
{
    FillTable();

    EXPECT_FALSE(Load());

    EXPECT_THAT(platform.sequence,
                ElementsAre("gets " + kHdmi, Own("E", "t_LoadActivityInfoToMemory", "get " + kHdmi + " failed!")));
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> get %s failed!\n");
    EXPECT_EQ(Table(), TableText());
}

TEST_F(TableLoad, KeepsTheTableSilentlyWhenTheTextIsNotJson)
{
    FillTable();
    for (const char* text : {"torn", "", " ", "{\"activity\":[", "{\"activity\" 5}", "\xff\xfe"}) {
        GivenText(0, text);
        ForgetCalls();
        EXPECT_FALSE(Load()) << text;
        EXPECT_THAT(platform.sequence,
                    ElementsAre("gets " + kHdmi, Succeeded("t_LoadActivityInfoToMemory", kHdmi, text)));
        EXPECT_EQ(Table(), TableText());
    }
}

TEST_F(TableLoad, CompletesAShortArrayWithDefaults)
{
    if (HDMI_PORT_COUNT < 1) GTEST_SKIP() << "needs an HDMI input";
    GivenText(0, R"({"activity":[{"BName":"first"}]})");

    EXPECT_TRUE(Load());

    std::string expected = RecordText("first", 0);
    for (int port = 1; port < HDMI_PORT_COUNT; ++port) expected += ",\n" + RecordText("", 0);
    EXPECT_EQ(Table(), "{\n\t\"activity\" : \n\t[\n" + expected + "\n\t]\n}");
}

TEST_F(TableLoad, SaysThatADocumentHasAnotherShape)
{
    if (HDMI_PORT_COUNT < 1) GTEST_SKIP() << "needs an HDMI input";
    for (const char* text : {"[]", "7", R"("text")", R"({"activity":{}})", R"({"activity":7})"}) {
        GivenText(0, text);
        ForgetCalls();
        EXPECT_FALSE(Load()) << text;
        ASSERT_EQ(platform.sequence.size(), 4U);
        EXPECT_EQ(platform.sequence[2].find("E QDInfoData.cpp SetActivityInfoFromStream: "
                                            "Exception Handled by SetActivityInfoFromStream: "),
                  0U);
        EXPECT_EQ(platform.sequence[3], Own("E", "t_LoadActivityInfoToMemory", " load to file error"));
        EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld>  load to file error\n");
        EXPECT_EQ(Table(), "null");
    }
}

TEST_F(TableLoad, LogsADocumentThatIsNestedTooDeep)
{
    FillTable();
    const std::string deep(10000, '[');
    GivenText(0, deep);
    Json::Value root;
    const std::string what = JsonErrorOf([&] { ParseJson(deep, root); });

    EXPECT_EQ(ExceptionOf([this] { return Load(); }),
              "t_LoadActivityInfoToMemory: Exception Handled by t_LoadActivityInfoToMemory: " + what);
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> Exception Handled by t_LoadActivityInfoToMemory: %s\n");
    EXPECT_EQ(Table(), TableText());
}

TEST_F(TableLoad, ReadsAfreshAfterADocumentThatFailed)
{
    for (const std::string& bad :
         {std::string(10000, '['), std::string("{\"activity\":[1,2"), std::string("/* open")}) {
        GivenText(0, bad);
        EXPECT_FALSE(Load());
        GivenText(0, TableText());
        EXPECT_TRUE(Load());
        EXPECT_EQ(Table(), TableText());
    }
}

// --- loading one record

TEST_F(Store, GivesTheStoredRecordOfAPort)
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

TEST_F(Store, GivesNoRecordOfADocumentOfAnotherShape)
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

TEST_F(Store, GivesNoRecordWithoutText)
{
    EXPECT_FALSE(store.t_LoadPortJsonInfoToMemory(0, out));
    EXPECT_FALSE(store.t_LoadOpticalPortJsonInfoToMemory(0, out));
    EXPECT_EQ(out, "before");
    EXPECT_THAT(platform.sequence,
                ElementsAre("gets " + kHdmi, Own("E", "t_LoadPortJsonInfoToMemory", "get " + kHdmi + " failed!"),
                            "gets " + kOpt, Own("E", "t_LoadOpticalPortJsonInfoToMemory", "get " + kOpt + " failed!")));
}

TEST_F(Store, GivesNoRecordSilentlyWhenTheTextIsNotJson)
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

TEST_F(Store, GivesTheOpticalRecordWhateverThePort)
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

TEST_F(Store, LogsAnOpticalDocumentThatIsNoObject)
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

TEST_F(Store, LeavesTheTableWhenItGivesRecords)
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

// --- statistics

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

TEST_F(StatisticsLoad, TakesTheLastEntryOfAPortWithAPriorityOfAtMostNine)
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
        if (HDMI_PORT_COUNT < 1) continue;  // then no priority is looked at
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

TEST_F(StatisticsLoad, LooksAtNoPriorityOfAnotherPort)
{
    GivenStatistics(R"({"Auto":[{"port":1,"pri":"one"},{"port":0,"pri":1}]})");
    EXPECT_EQ(Entry(0), R"({"port":0,"pri":1})");
}

TEST_F(StatisticsLoad, LooksAtNoPriorityOfAPortOutsideTheInputs)
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
}

}  // namespace
