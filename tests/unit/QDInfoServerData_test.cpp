// SPDX-License-Identifier: Apache-2.0
//
// The store: what it saves, and how it loads the table. Announcements find no bus here.
#include "StoreTest.h"

#include <algorithm>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;

std::string SizeLine(int size)
{
    return "E QDInfoData.cpp GetActivityInfoToStream: t_ActivityInfo.size() = " + std::to_string(size) + " ";
}

// ---------------------------------------------------------------------------------------------------------------------
// Saving

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

TEST_F(Store, LogsAtDebugThatASaveFailed)
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

// ---------------------------------------------------------------------------------------------------------------------
// Exceptions of JSON, wherever they arise

TEST_F(Store, HandlesAnExceptionOfJsonThatTheSettingsThrow)
{
    std::vector<Json::Value> all(static_cast<std::size_t>(std::max(HDMI_PORT_COUNT, 1)));
    struct Member {
        const char* name;
        const char* blamed;
        std::function<bool()> call;
    };
    const Member members[] = {
        {"t_LoadActivityInfoToMemory", "t_LoadActivityInfoToMemory", [&] { return store.t_Initialize(); }},
        {"t_LoadPortJsonInfoToMemory", "t_LoadActivityInfoToMemory",
         [&] { return store.t_LoadPortJsonInfoToMemory(0, out); }},
        {"t_LoadOpticalPortJsonInfoToMemory", "t_LoadOpticalPortJsonInfoToMemory",
         [&] { return store.t_LoadOpticalPortJsonInfoToMemory(99, out); }},
        {"t_LoadPortJsonKPIInfoToMemory", "t_LoadPortJsonKPIInfoToMemory",
         [&] { return store.t_LoadPortJsonKPIInfoToMemory(0, out); }},
        {"t_LoadAllJsonKPIInfoToMemory", "t_LoadAllJsonKPIInfoToMemory",
         [&] { return store.t_LoadAllJsonKPIInfoToMemory(all.data()); }},
        {"t_SaveActivityInfoToFile", "t_SaveActivityInfoToFile", [&] { return store.t_SaveActivityInfoToFile(); }},
    };
    platform.settings.onAccess = [] { throw Json::RuntimeError("no settings"); };
    for (const Member& member : members) {
        const std::string handled = std::string("Exception Handled by ") + member.blamed + ": ";
        EXPECT_EQ(ExceptionOf(member.call), member.name + (": " + handled) + "no settings");
        EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> " + handled + "%s\n");
    }
    EXPECT_EQ(out, "before");
}

TEST_F(Store, AnnouncesASaveThatAnExceptionOfJsonEnded)
{
    platform.settings.onAccess = [] { throw Json::RuntimeError("no settings"); };
    for (const bool notify : {false, true}) {
        ForgetCalls();
        notify ? store.t_CheckAndSaveActivityWithNotify(0) : store.t_CheckAndSaveActivity(0);
        EXPECT_THAT(SequenceWithoutBusReason(),
                    ElementsAre(SizeLine(0), "sets " + kHdmi + " null",
                                Own("E", "t_SaveActivityInfoToFile",
                                    "Exception Handled by t_SaveActivityInfoToFile: no settings"),
                                kNoBus));
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Loading the table

class TableLoad : public Store {
protected:
    bool Load() { return store.t_LoadActivityInfoToMemory(); }

    // Saves the table. Returns the stored text.
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

TEST_F(TableLoad, LogsThatADocumentHasAnotherShape)
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

TEST_F(TableLoad, ReadsAgainAfterADocumentThatFailed)
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

}  // namespace
