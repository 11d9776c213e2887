// SPDX-License-Identifier: Apache-2.0
//
// How often a query allocates: as often as the document that it reads makes the parser allocate, and hardly more. This
// program counts every call of operator new; its platform makes none.
#include "QDInfoServerData.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <cstdlib>
#include <new>
#include <string>

namespace {

int g_allocations = 0;

void* CountedNew(std::size_t size)
{
    ++g_allocations;
    void* const memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) { return CountedNew(size); }
void* operator new[](std::size_t size) { return CountedNew(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

void srcwatch_test::ConfigurePlatform(Platform& platform) { platform.keepsCalls = false; }

namespace {

using namespace srcwatch_test;

constexpr int kPorts = 4;
constexpr int kMembers = 18;

// What the parser allocates for a document of four full records with short texts: one map for each of the root, the
// array and the records, and one node for each member and element. Texts of up to 15 bytes are kept in place; JsonCpp
// takes the memory of keys and texts in a value with malloc.
constexpr int kMaps = 1 + 1 + kPorts;
constexpr int kNodes = 1 + kPorts + kPorts * kMembers;
constexpr int kDocument = kMaps + kNodes;
static_assert(kDocument == 83, "six maps and seventy-seven nodes");

// A document of four records of a device type, whose texts are all text.
std::string Document(int type, const std::string& text)
{
    std::string record = R"({"DevType":)" + std::to_string(type);
    for (const char* key : {"AKSV", "BName", "CDevName", "CECName", "CName", "DevName", "MFName", "ModelName", "PRName",
                            "UnknownType", "sDevType"}) {
        record += std::string(",\"") + key + "\":\"" + text + "\"";
    }
    for (const char* key : {"Changed", "DMethod", "DenyCount", "PortNum", "PrevPort", "ScanState"}) {
        record += std::string(",\"") + key + "\":1";
    }
    record += "}";
    std::string records = record;
    for (int port = 1; port < kPorts; ++port) records += "," + record;
    return R"({"activity":[)" + records + "]}";
}

int Call(const Query& query, int port)
{
    static char text1[SRCWATCH_TEXT_SIZE];
    static char text2[SRCWATCH_TEXT_SIZE];
    static int numbers[2];
    static bool flag;
    return query.call(port, {text1, text2, &numbers[0], &numbers[1], &flag});
}

// The texts that a query copies out of a record of type 3.
int TextsOf(const Query& query)
{
    const std::string name = query.name;
    for (const char* numbers :
         {"product_type_name", "denycount", "detection_moethod", "oobe_scan_state", "changed_device_info"}) {
        if (name == std::string("srcwatch_get_") + numbers) return 0;
    }
    return name == "srcwatch_get_codeset_info" ? 3 : name == "srcwatch_get_device_info" ? 2 : 1;
}

class Allocations : public testing::Test {
public:
    ~Allocations() override { qdinfo::CSingleton<qdinfo::CQDInfoServerData>::DestroyInstance(); }

protected:
    // The store and this thread's parser are made by the first query, and kept.
    Allocations()
    {
        hdmi = "{}";
        Call(AllQueries()[0], 0);
    }

    // Counts one call, and fails the test if the next ones count otherwise.
    template <typename Action>
    static int Count(Action call)
    {
        const int before = g_allocations;
        call();
        const int count = g_allocations - before;
        for (int i = 0; i < 3; ++i) {
            const int again = g_allocations;
            call();
            EXPECT_EQ(g_allocations - again, count);
        }
        return count;
    }

    std::string& hdmi = ThePlatform().settings.texts[kHdmiKey];
    std::string& statistics = ThePlatform().settings.texts[kStatisticsKey];
};

TEST_F(Allocations, OfAQueryAreThoseOfTheParser)
{
    hdmi = Document(3, "short");
    for (const Query& query : AllQueries()) {
        // Codeset: 166, as it reads the document twice. All others: 83.
        EXPECT_EQ(Count([&] { EXPECT_EQ(Call(query, 1), 0); }), query.reads * kDocument) << query.name;
    }
}

TEST_F(Allocations, OfALongTextAreOneMoreToParseAndOneToCopyIt)
{
    hdmi = Document(3, std::string(40, 'l'));
    constexpr int kTexts = kPorts * 11;
    for (const Query& query : AllQueries()) {
        // 83 + 44 to decode the texts of the document, + 0, 1 or 2 to take those of the answer out of the record.
        EXPECT_EQ(Count([&] { EXPECT_EQ(Call(query, 1), 0); }), query.reads * (kDocument + kTexts) + TextsOf(query))
            << query.name;
    }
}

TEST_F(Allocations, OfARefusedCallAreNone)
{
    for (const Query& query : AllQueries()) EXPECT_EQ(Count([&] { EXPECT_EQ(Call(query, 8), 2); }), 0) << query.name;
}

TEST_F(Allocations, OfAnAbsentMemberAreTheNodesThatTheLookupsAdd)
{
    hdmi = R"({"activity":[{}]})";
    // Parsed: the maps of root, array and record, and the nodes of "activity" and of its element: 5.
    constexpr int kEmpty = 5;
    const auto countOf = [](const char* name, int port) {
        const Query& query = QueryNamed(name);
        return Count([&] { Call(query, port); });
    };
    EXPECT_EQ(countOf("srcwatch_get_cec_name", 0), kEmpty + 1);  // "CECName"
    EXPECT_EQ(countOf("srcwatch_get_denycount", 0), kEmpty + 1);
    EXPECT_EQ(countOf("srcwatch_get_changed_device_info", 0), kEmpty + 2);
    // Another port: the node of its element, and the map and the node of the record that it becomes.
    EXPECT_EQ(countOf("srcwatch_get_cec_name", 1), kEmpty + 3);
}

TEST_F(Allocations, OfStatisticsWithoutAnEntryAreThoseOfTheParser)
{
    statistics = R"({"Auto":[{"port":9,"pri":1}]})";
    // The maps of root, list and entry; the nodes of "Auto", of its element and of two members.
    constexpr int kList = 3 + 4;
    srcwatch_kpi_info_s infos[8] = {};
    EXPECT_EQ(Count([&] { EXPECT_EQ(srcwatch_get_device_kpi_info(0, infos), 1); }), kList);
    // And the vector of the ports' entries.
    EXPECT_EQ(Count([&] { EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0); }), kList + 1);
}

TEST_F(Allocations, OfStatisticsGrowByTheSameNumberForEachEntry)
{
    srcwatch_kpi_info_s infos[8] = {};
    const auto countOf = [&](const std::string& entries) {
        statistics = R"({"Auto":[)" + entries + "]}";
        return Count([&] { EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0); });
    };
    const std::string first = R"({"port":0,"pri":1,"t":5})";
    const std::string second = R"({"port":1,"pri":1,"t":5})";
    const std::string third = R"({"port":2,"pri":1,"t":5})";
    const int one = countOf(first);
    const int two = countOf(first + "," + second);
    const int three = countOf(first + "," + second + "," + third);
    EXPECT_EQ(two - one, three - two);
}

}  // namespace
