// SPDX-License-Identifier: Apache-2.0
//
// How often a query allocates: as often as the document that it reads makes the parser allocate, and hardly more. This
// program counts every call of operator new, and brings a platform that makes none.
#include "QDInfoServerData.h"
#include "srcwatch-api.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include <TVServiceAPI.h>
#include <dlog.h>
#include <gtest/gtest.h>
#include <system_info.h>
#include <vconf.h>

namespace {

int g_allocations = 0;
std::string g_hdmi;
std::string g_statistics;

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

int __dlog_print(int, int, const char*, const char*, ...) { return 0; }
int vconf_get_int(const char*, int*) { return -1; }
int vconf_set_int(const char*, int) { return -1; }
int vconf_set_str(const char*, const char*) { return -1; }
char* vconf_get_str(const char* key)
{
    return strdup(std::strstr(key, "spd") != nullptr ? g_statistics.c_str() : g_hdmi.c_str());
}
int system_info_get_value_int(system_info_key_e, int* value)
{
    *value = 4;
    return 0;
}
int system_info_get_custom_bool(const char*, bool*) { return -1; }
int TVServiceAPI::CreateSourceControl(EProfile, int, ISourceControl**) { return -1; }

namespace {

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

char g_text1[SRCWATCH_TEXT_SIZE];
char g_text2[SRCWATCH_TEXT_SIZE];
int g_number = 0;
bool g_flag = false;

struct Row {
    const char* name;
    int (*call)(int port);
    int texts;  // that the query copies out of a record of type 3
    int reads;  // of the document
};

const Row kRows[] = {
    {"cec_name", [](int port) { return srcwatch_get_cec_name(g_text1, port); }, 1, 1},
    {"model_name", [](int port) { return srcwatch_get_model_name(g_text1, port); }, 1, 1},
    {"manufacturer_name", [](int port) { return srcwatch_get_manufacturer_name(g_text1, port); }, 1, 1},
    {"codeset_name", [](int port) { return srcwatch_get_codeset_name(g_text1, port); }, 1, 1},
    {"logo_mso_name", [](int port) { return srcwatch_get_logo_mso_name(g_text1, port); }, 1, 1},
    {"cec_device_name", [](int port) { return srcwatch_get_cec_device_name(g_text1, port); }, 1, 1},
    {"aksv_info", [](int port) { return srcwatch_get_aksv_info(g_text1, port); }, 1, 1},
    {"result_str1_name", [](int port) { return srcwatch_get_result_str1_name(g_text1, port); }, 1, 1},
    {"result_str2_name", [](int port) { return srcwatch_get_result_str2_name(g_text1, port); }, 1, 1},
    {"product_type_name", [](int port) { return srcwatch_get_product_type_name(port, &g_number); }, 0, 1},
    {"denycount", [](int port) { return srcwatch_get_denycount(&g_number, port); }, 0, 1},
    {"detection_moethod", [](int port) { return srcwatch_get_detection_moethod(port, &g_number); }, 0, 1},
    {"oobe_scan_state", [](int port) { return srcwatch_get_oobe_scan_state(port, &g_number); }, 0, 1},
    {"changed_device_info", [](int port) { return srcwatch_get_changed_device_info(port, &g_number, &g_flag); }, 0, 1},
    {"device_info", [](int port) { return srcwatch_get_device_info(port, &g_number, g_text1, g_text2); }, 2, 1},
    {"codeset_info", [](int port) { return srcwatch_get_codeset_info(port, &g_flag, g_text1); }, 3, 2},
};

class Allocations : public testing::Test {
public:
    ~Allocations() override { qdinfo::CSingleton<qdinfo::CQDInfoServerData>::DestroyInstance(); }

protected:
    // The store and this thread's parser are made by the first query, and kept.
    Allocations()
    {
        g_hdmi = "{}";
        kRows[0].call(0);
    }
    // Counts one call, and fails the test when the next ones count otherwise.
    template <typename Call>
    static int Count(Call call)
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
};

TEST_F(Allocations, OfAQueryAreThoseOfTheParser)
{
    g_hdmi = Document(3, "short");
    for (const Row& row : kRows) {
        // Codeset: 166, as it reads the document twice. All others: 83.
        EXPECT_EQ(Count([&] { EXPECT_EQ(row.call(1), 0); }), row.reads * kDocument) << row.name;
    }
}

TEST_F(Allocations, OfALongTextAreOneMoreToParseItAndOneMoreToCopyIt)
{
    g_hdmi = Document(3, std::string(40, 'l'));
    constexpr int kTexts = kPorts * 11;
    for (const Row& row : kRows) {
        // 83 + 44 to decode the texts of the document, + 0, 1 or 2 to take those of the answer out of the record.
        EXPECT_EQ(Count([&] { EXPECT_EQ(row.call(1), 0); }), row.reads * (kDocument + kTexts) + row.texts) << row.name;
    }
}

TEST_F(Allocations, OfARefusedCallAreNone)
{
    for (const Row& row : kRows) EXPECT_EQ(Count([&] { EXPECT_EQ(row.call(8), 2); }), 0) << row.name;
}

TEST_F(Allocations, OfAnAbsentMemberAreTheNodesThatTheLookupsAdd)
{
    g_hdmi = R"({"activity":[{}]})";
    // Parsed: the maps of root, array and record, and the nodes of "activity" and of its element: 5.
    constexpr int kEmpty = 5;
    EXPECT_EQ(Count([] { srcwatch_get_cec_name(g_text1, 0); }), kEmpty + 1);  // "CECName"
    EXPECT_EQ(Count([] { srcwatch_get_denycount(&g_number, 0); }), kEmpty + 1);
    EXPECT_EQ(Count([] { srcwatch_get_changed_device_info(0, &g_number, &g_flag); }), kEmpty + 2);
    // Another port: the node of its element, and the map and the node of the record that it becomes.
    EXPECT_EQ(Count([] { srcwatch_get_cec_name(g_text1, 1); }), kEmpty + 3);
}

TEST_F(Allocations, OfStatisticsWithoutAnEntryAreThoseOfTheParserAndOneForAllPorts)
{
    g_statistics = R"({"Auto":[{"port":9,"pri":1}]})";
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
        g_statistics = R"({"Auto":[)" + entries + "]}";
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
