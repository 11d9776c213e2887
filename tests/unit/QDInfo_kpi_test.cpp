// SPDX-License-Identifier: Apache-2.0
//
// Statistics of detections.
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;

const std::string kRead = std::string("gets ") + kStatisticsKey;

class Statistics : public QueryTest {
protected:
    void GivenEntries(const std::string& entries)
    {
        platform.settings.texts[kStatisticsKey] = R"({"Auto":[)" + entries + "]}";
    }

    static std::string Line(const char* function, const std::string& message)
    {
        return std::string("E QDInfo.cpp ") + function + ": " + message + "\n";
    }
};

// An entry with all members that are read.
std::string EntryOf(int port)
{
    const std::string n = std::to_string(port);
    return R"({"port":)" + n + R"(,"pri":1,"t":)" + std::to_string(1000 + port) + R"(,"spd":["vendor)" + n +
           R"(","product)" + n + R"(","extra)" + n + R"("],"result":["first)" + n + R"(",2,3]})";
}

srcwatch_kpi_info_s Untouched() { return {-5, -6, "vendor before", "product before", "extra", "first before"}; }

bool operator==(const srcwatch_kpi_info_s& a, const srcwatch_kpi_info_s& b)
{
    return a.hdmi_no == b.hdmi_no && a.t == b.t && a.spd_vendor == b.spd_vendor && a.spd_product == b.spd_product &&
           a.spd_extra == b.spd_extra && a.result_first == b.result_first;
}

class OnePort : public Statistics {
protected:
    static std::string Own(const std::string& message) { return Line("srcwatch_get_device_kpi_info", message); }
};

TEST_F(OnePort, EndsWithAnExceptionForAnEntryThatIsThere)
{
    Json::Value entry(Json::objectValue);
    for (const int port : kAcceptedPorts) {
        GivenEntries(EntryOf(port));
        srcwatch_kpi_info_s info = Untouched();
        ForgetCalls();

        EXPECT_EQ(srcwatch_get_device_kpi_info(port, &info), 1);

        EXPECT_TRUE(info == Untouched());
        const std::string what = JsonErrorOf([&] { static_cast<void>(entry[port]); });
        EXPECT_THAT(platform.sequence,
                    ElementsAre(kRead, Own("Exception Handled by srcwatch_get_device_kpi_info: " + what)));
        EXPECT_EQ(platform.log.back().format,
                  "%s: %s(%d) > <%ld> Exception Handled by srcwatch_get_device_kpi_info: %s\n\n");
    }
}

TEST_F(OnePort, FailsWithoutAnEntry)
{
    const std::string absences[] = {"", EntryOf(20), R"({"port":1,"pri":10})", R"({"port":1})", "null"};
    for (const std::string& absence : absences) {
        for (const int port : {1, 7, kOptical}) {
            GivenEntries(absence);
            srcwatch_kpi_info_s info = Untouched();
            ForgetCalls();

            EXPECT_EQ(srcwatch_get_device_kpi_info(port, &info), 1);

            EXPECT_TRUE(info == Untouched());
            EXPECT_THAT(platform.sequence,
                        ElementsAre(kRead, Own("Fail to Get Json [HDMI" + std::to_string(port + 1) + "]")));
            EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> Fail to Get Json [HDMI%d]\n\n");
        }
    }
}

TEST_F(OnePort, FailsWithoutADocument)
{
    srcwatch_kpi_info_s info = Untouched();
    for (const int port : kAcceptedPorts) {
        ForgetCalls();
        EXPECT_EQ(srcwatch_get_device_kpi_info(port, &info), 1);
        EXPECT_THAT(platform.sequence,
                    ElementsAre(kRead, Own("Fail to Get Json [HDMI" + std::to_string(port + 1) + "]")));
    }
    EXPECT_TRUE(info == Untouched());
}

TEST_F(OnePort, IsRefusedPortFirstAndWithoutALine)
{
    srcwatch_kpi_info_s info = Untouched();
    for (const int port : kRefusedPorts) {
        EXPECT_EQ(srcwatch_get_device_kpi_info(port, &info), 2);
        EXPECT_EQ(srcwatch_get_device_kpi_info(port, nullptr), 2);
    }
    EXPECT_TRUE(info == Untouched());
    EXPECT_TRUE(platform.sequence.empty());
}

// A false result of the loader does not count: an entry that it took before it failed is there.
TEST_F(OnePort, GoesOnWithTheEntryThatTheLoaderTookBeforeItFailed)
{
    for (const int port : kAcceptedPorts) {
        GivenEntries(EntryOf(port) + R"(,{"port":"one"})");
        srcwatch_kpi_info_s info = Untouched();
        ForgetCalls();

        EXPECT_EQ(srcwatch_get_device_kpi_info(port, &info), 1);

        EXPECT_TRUE(info == Untouched());
        const std::vector<std::string> lines = platform.LogOf(DLOG_ERROR);
        ASSERT_EQ(lines.size(), 2U);
        EXPECT_EQ(lines[0].find("t_LoadPortJsonKPIInfoToMemory: Exception Handled by "), 0U);
        EXPECT_EQ(lines[1].find("srcwatch_get_device_kpi_info: Exception Handled by srcwatch_get_device_kpi_info: "),
                  0U);
    }
}

TEST_F(OnePort, DoesTheSameWithoutARecordToFill)
{
    srcwatch_kpi_info_s info = Untouched();
    for (const std::string& entries :
         {EntryOf(1), EntryOf(kOptical), EntryOf(1) + R"(,{"port":"one"})", std::string()}) {
        GivenEntries(entries);
        for (const int port : kAcceptedPorts) {
            ForgetCalls();
            EXPECT_EQ(srcwatch_get_device_kpi_info(port, &info), 1);
            const std::vector<std::string> calls = platform.sequence;
            ForgetCalls();

            EXPECT_EQ(srcwatch_get_device_kpi_info(port, nullptr), 1);

            EXPECT_EQ(platform.sequence, calls);
        }
    }
}

// The store is made by the first query for a port; none is made for what is not a port.
TEST(FirstStatistics, MakeTheStore)
{
    Platform& platform = ThePlatform();
    srcwatch_kpi_info_s infos[8];
    const std::string made = "E QDInfoCommon.h GetInstance: new......\n";
    for (const bool all : {false, true}) {
        platform = Platform();
        EXPECT_EQ(srcwatch_get_device_kpi_info(8, infos), 2);
        EXPECT_THAT(platform.sequence, ElementsAre());

        EXPECT_EQ(all ? srcwatch_get_all_device_kpi_info(infos) : srcwatch_get_device_kpi_info(7, infos), all ? 0 : 1);

        ASSERT_EQ(platform.sequence.size(), all ? 10U : 3U);
        EXPECT_EQ(platform.sequence[0], made);
        EXPECT_EQ(platform.sequence[1], kRead);
        qdinfo::CSingleton<qdinfo::CQDInfoServerData>::DestroyInstance();
    }
}

class AllPorts : public Statistics {
public:
    ~AllPorts() override
    {
        EXPECT_TRUE(std::all_of(std::begin(caller.guard), std::end(caller.guard),
                                [](unsigned char byte) { return byte == 0xa5; }));
    }

protected:
    AllPorts()
    {
        std::fill(std::begin(caller.infos), std::end(caller.infos), Untouched());
        std::memset(caller.guard, 0xa5, sizeof(caller.guard));
    }

    // Returns true if the library reads the entries of a port.
    static bool IsInput(int port) { return port < HDMI_PORT_COUNT; }

    static std::string Own(const std::string& message) { return Line("srcwatch_get_all_device_kpi_info", message); }
    static std::string Fail(int port) { return Own("Fail to Get Json [HDMI" + std::to_string(port + 1) + "]"); }
    static std::string Succeed(int port, const std::string& entry)
    {
        Json::Value value;
        EXPECT_TRUE(ParseJson(entry, value));
        return Own("Succeed to Get Json [HDMI" + std::to_string(port + 1) + "], " +
                   Json::writeString(Json::StreamWriterBuilder(), value));
    }

    struct {
        srcwatch_kpi_info_s infos[8];
        unsigned char guard[4096];
    } caller;
    srcwatch_kpi_info_s* const infos = caller.infos;
};

TEST_F(AllPorts, HasTheEntryOfEachInput)
{
    std::string entries = EntryOf(0);
    for (int port = 1; port < 20; ++port) entries += "," + EntryOf(port);
    GivenEntries(entries);

    EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0);

    std::vector<std::string> expected = {kRead};
    for (int port = 0; port < 8; ++port) {
        const std::string n = std::to_string(port);
        const srcwatch_kpi_info_s full = {port + 1, 1000 + port, "vendor" + n, "product" + n, "extra", "first" + n};
        EXPECT_TRUE(infos[port] == (IsInput(port) ? full : Untouched())) << port;
        expected.push_back(IsInput(port) ? Succeed(port, EntryOf(port)) : Fail(port));
    }
    EXPECT_EQ(platform.sequence, expected);
}

TEST_F(AllPorts, LogsEightFailuresWithoutEntries)
{
    std::vector<std::string> expected = {kRead};
    for (int port = 0; port < 8; ++port) expected.push_back(Fail(port));
    const std::string texts[] = {
        R"({"Auto":[]})", R"({"Auto":null})",       "{}", "null", "torn", "", R"({"Auto":7})", R"({"Auto":"text"})",
        R"({"Auto":{}})", R"({"Auto":[null,null]})"};
    EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0);
    EXPECT_EQ(platform.sequence, expected);
    for (const std::string& text : texts) {
        platform.settings.texts[kStatisticsKey] = text;
        ForgetCalls();
        EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0);
        EXPECT_EQ(platform.sequence, expected) << text;
    }
    for (const srcwatch_kpi_info_s& info : caller.infos) EXPECT_TRUE(info == Untouched());
}

TEST_F(AllPorts, LeavesTextsThatAnEntryDoesNotHave)
{
    if (!IsInput(0)) GTEST_SKIP() << "needs an HDMI input";
    struct Case {
        const char* members;
        srcwatch_kpi_info_s info;
    };
    const Case cases[] = {
        {R"("t":5)", {1, 5, "vendor before", "product before", "extra", "first before"}},
        {R"("spd":["v","p"],"t":5)", {1, 5, "vendor before", "product before", "extra", "first before"}},
        {R"("spd":["v","p","e","x"])", {1, -1, "vendor before", "product before", "extra", "first before"}},
        {R"("spd":["v","p","e","x","y"])", {1, -1, "vendor before", "product before", "extra", "first before"}},
        {R"("spd":["v","p","e"])", {1, -1, "v", "p", "extra", "first before"}},
        {R"("spd":["","",""],"result":["",0,0])", {1, -1, "", "", "extra", ""}},
        {R"("result":["r"])", {1, -1, "vendor before", "product before", "extra", "first before"}},
        {R"("result":["r",1])", {1, -1, "vendor before", "product before", "extra", "first before"}},
        {R"("result":["r",1,2,3])", {1, -1, "vendor before", "product before", "extra", "first before"}},
        {R"("result":["r",1,2,3,4])", {1, -1, "vendor before", "product before", "extra", "first before"}},
        {R"("result":["r",1,2])", {1, -1, "vendor before", "product before", "extra", "r"}},
        {R"("result":[8,1,2],"spd":null)", {1, -1, "vendor before", "product before", "extra", "8"}},
        {R"("spd":"abc","result":7)", {1, -1, "vendor before", "product before", "extra", "first before"}},
        {R"("spd":{},"result":[])", {1, -1, "vendor before", "product before", "extra", "first before"}},
        {R"("t":null)", {1, 0, "vendor before", "product before", "extra", "first before"}},
    };
    for (const Case& c : cases) {
        GivenEntries(std::string(R"({"port":0,"pri":0,)") + c.members + "}");
        infos[0] = Untouched();
        EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0);
        EXPECT_TRUE(infos[0] == c.info) << c.members;
    }
}

TEST_F(AllPorts, KeepsWhatItAssignedBeforeAMemberOfAnotherKind)
{
    if (!IsInput(1)) GTEST_SKIP() << "needs two HDMI inputs";
    struct Case {
        const char* members;
        srcwatch_kpi_info_s info;
    };
    const Case cases[] = {
        {R"("t":"5","spd":["v","p","e"])", {1, -6, "vendor before", "product before", "extra", "first before"}},
        {R"("t":2147483648)", {1, -6, "vendor before", "product before", "extra", "first before"}},
        {R"("t":5,"spd":[[],"p","e"])", {1, 5, "vendor before", "product before", "extra", "first before"}},
        {R"("t":5,"spd":["v",{},"e"])", {1, 5, "v", "product before", "extra", "first before"}},
        {R"("t":5,"spd":["v","p",{}],"result":[{},1,2])", {1, 5, "v", "p", "extra", "first before"}},
        {R"("t":5,"spd":{"a":1,"b":2,"c":3})", {1, 5, "vendor before", "product before", "extra", "first before"}},
        {R"("t":5,"result":{"a":1,"b":2,"c":3})", {1, 5, "vendor before", "product before", "extra", "first before"}},
    };
    for (const Case& c : cases) {
        const std::string entry = std::string(R"({"port":0,"pri":0,)") + c.members + "}";
        GivenEntries(entry + "," + EntryOf(1));
        infos[0] = Untouched();
        ForgetCalls();

        EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 1) << c.members;

        EXPECT_TRUE(infos[0] == c.info) << c.members;
        EXPECT_TRUE(infos[1] == Untouched());
        ASSERT_EQ(platform.sequence.size(), 3U);
        EXPECT_EQ(platform.sequence[1], Succeed(0, entry));
        EXPECT_EQ(platform.sequence[2].find("E QDInfo.cpp srcwatch_get_all_device_kpi_info: "
                                            "Exception Handled by srcwatch_get_all_device_kpi_info: "),
                  0U);
        EXPECT_EQ(platform.log.back().format,
                  "%s: %s(%d) > <%ld> Exception Handled by srcwatch_get_all_device_kpi_info: %s\n\n");
        EXPECT_EQ(platform.log.front().format, "%s: %s(%d) > <%ld> Succeed to Get Json [HDMI%d], %s\n\n");
    }
}

TEST_F(AllPorts, TakesTheLastEntryOfAPort)
{
    if (!IsInput(0)) GTEST_SKIP() << "needs an HDMI input";
    GivenEntries(R"({"port":0,"pri":5,"t":1},{"port":0,"pri":3,"t":2},{"port":0,"pri":10,"t":3},{"port":0,"t":4})");
    EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0);
    EXPECT_EQ(infos[0].t, 2);
}

TEST_F(AllPorts, KeepsTheEntriesBeforeOneThatTheLoaderCannotRead)
{
    if (!IsInput(0)) GTEST_SKIP() << "needs an HDMI input";
    GivenEntries(EntryOf(0) + R"(,{"port":"one"})");
    EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0);
    EXPECT_EQ(infos[0].t, 1000);
    EXPECT_EQ(platform.LogOf(DLOG_ERROR).front().find("t_LoadAllJsonKPIInfoToMemory: "), 0U);
}

TEST_F(AllPorts, DoesTheSameWithoutRecordsToFill)
{
    for (const char* members : {R"("t":5)", R"("spd":["v","p","e"],"result":["r",1,2])", R"("t":"5")",
                                R"("spd":[[],"p","e"])", R"("spd":["v",{},"e"])", R"("spd":{"a":1,"b":2,"c":3})",
                                R"("result":[{},1,2])", R"("result":{"a":1,"b":2,"c":3})"}) {
        GivenEntries(EntryOf(0) + R"(,{"port":2,"pri":0,)" + members + "}," + EntryOf(3));
        ForgetCalls();
        const int result = srcwatch_get_all_device_kpi_info(infos);
        const std::vector<std::string> calls = platform.sequence;
        ForgetCalls();

        EXPECT_EQ(srcwatch_get_all_device_kpi_info(nullptr), result) << members;

        EXPECT_EQ(platform.sequence, calls) << members;
    }
}

TEST_F(AllPorts, StandsHostileDocuments)
{
    std::string deep(10000, '[');
    deep += std::string(10000, ']');
    const std::string texts[] = {
        deep,
        R"({"Auto":)" + deep + "}",
        R"({"Auto":{"port":1}})",
        R"({"Auto":[5]})",
        R"({"Auto":["text"]})",
        R"({"Auto":[[]]})",
        R"({"Auto":[{"port":4294967296}]})",
        R"({"Auto":[{"port":1e300}]})",
        R"({"Auto":[{"port":2147483647,"pri":0},{"port":-2147483648,"pri":0}]})",
        "[]",
        "7",
        R"("Auto")",
        "{\"Auto\":[{\"port\":0,\"pri\":0,\"spd\":[\"\xff\xc3\",\"\x80\",\"\"]}]}",
        R"({"Auto":[{"port":0,"pri":0,"spd":[")" + std::string(10U << 20U, 's') + R"(","",""]}]})"};
    for (const std::string& text : texts) {
        platform.settings.texts[kStatisticsKey] = text;
        ForgetCalls();
        EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0) << text.substr(0, 80);
        for (const int port : kAcceptedPorts) EXPECT_EQ(srcwatch_get_device_kpi_info(port, infos), 1);
    }
}

}  // namespace
