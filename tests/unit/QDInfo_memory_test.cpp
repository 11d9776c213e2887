// SPDX-License-Identifier: Apache-2.0
//
// The queries when memory runs out. This program's operator new fails on demand.
#include "QDInfoAPI.h"
#include "QDInfoServerData.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>

namespace {

bool g_nothrowFails = false;
long g_allocationsLeft = -1;  // until one fails; negative: none does
std::size_t g_largest = SIZE_MAX;

void* Allocate(std::size_t size)
{
    if (size > g_largest) return nullptr;
    if (g_allocationsLeft >= 0 && g_allocationsLeft-- == 0) return nullptr;
    return std::malloc(size);
}

void* AllocateOrThrow(std::size_t size)
{
    void* const memory = Allocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return g_nothrowFails ? nullptr : Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return g_nothrowFails ? nullptr : Allocate(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace {

using namespace srcwatch_test;
using qdinfo::CQDInfoAPI;
using testing::ElementsAre;

using Singleton = qdinfo::CSingleton<qdinfo::CQDInfoServerData>;

const std::string kNew = "E QDInfoCommon.h GetInstance: new......\n";
const std::string kFailed = "E QDInfoCommon.h GetInstance: Assertion failed";

class NoStore : public QueryTest {
public:
    ~NoStore() override { g_nothrowFails = false; }

protected:
    NoStore()
    {
        Singleton::DestroyInstance();
        Json::Value record;
        record["DevType"] = 3;
        for (const char* key : {"DevName", "BName", "CName", "CECName"}) record[key] = "text";
        for (const int port : kAcceptedPorts) GivenRecord(port, record);
        platform.settings.texts[kStatisticsKey] = R"({"Auto":[{"port":0,"pri":0}]})";
        ForgetCalls();
        g_nothrowFails = true;
    }
};

TEST_F(NoStore, IsLoggedAtEachAttempt)
{
    EXPECT_EQ(Singleton::GetInstance(), nullptr);
    EXPECT_EQ(Singleton::GetInstance(), nullptr);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kFailed, kNew, kFailed));
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> Assertion failed\n");
}

TEST_F(NoStore, ReadsAsAPortWithoutARecord)
{
    for (const Query& query : AllQueries()) {
        for (const int port : kAcceptedPorts) {
            for (const char fill : {'#', '\0'}) {
                EXPECT_EQ(Ask(query, port, fill), Expected(query, port, nullptr, fill)) << query.name;
                EXPECT_TRUE(platform.SequenceWithoutLog().empty());
                EXPECT_THAT(platform.sequence, testing::Contains(kFailed));
            }
        }
    }
}

TEST_F(NoStore, HasEmptyTextsAndZeros)
{
    GuardedText dst;
    int type = -5;
    EXPECT_EQ(srcwatch_get_cec_name(dst.data(), 1), 0);
    EXPECT_EQ(dst.Content(), std::string(100, '\0'));
    EXPECT_EQ(srcwatch_get_product_type_name(1, &type), 0);
    EXPECT_EQ(type, 0);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kFailed, kNew, kFailed));
}

TEST_F(NoStore, HasNoStatistics)
{
    srcwatch_kpi_info_s infos[8] = {};
    EXPECT_EQ(srcwatch_get_device_kpi_info(0, infos), 1);
    EXPECT_THAT(platform.sequence,
                ElementsAre(kNew, kFailed, "E QDInfo.cpp srcwatch_get_device_kpi_info: Fail to Get Json [HDMI1]\n"));
    ForgetCalls();
    EXPECT_EQ(srcwatch_get_all_device_kpi_info(infos), 0);
    EXPECT_EQ(platform.sequence.size(), 2U + 8U);
    EXPECT_EQ(infos[0].hdmi_no, 0);
}

TEST_F(NoStore, SavesAndAnnouncesNothing)
{
    for (const int mode : {0, 1}) {
        ForgetCalls();
        srcwatch_set_source_info(0, mode);
        EXPECT_THAT(platform.sequence, ElementsAre(kNew, kFailed));
    }
}

TEST_F(NoStore, IsNotAServiceEither)
{
    EXPECT_FALSE(CQDInfoAPI::Create(true));
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), nullptr);
    const std::string create = "D QDInfoAPI.cpp GetQDInfoUtil: Create Util  !";
    EXPECT_THAT(platform.sequence, ElementsAre(create, kNew, kFailed, create, kNew, kFailed));
    ForgetCalls();
    srcwatch_remove_source_info(0);
    srcwatch_remove_source_info(kOptical);
    EXPECT_TRUE(platform.SequenceWithoutLog().empty());
    CQDInfoAPI::Destroy();
    CQDInfoAPI::Create(false);
}

TEST_F(NoStore, IsMadeOnceThereIsMemoryAgain)
{
    EXPECT_EQ(Singleton::GetInstance(), nullptr);
    g_nothrowFails = false;
    const Query& query = QueryNamed("srcwatch_get_cec_name");
    EXPECT_EQ(Ask(query, 1), Expected(query, 1, &platform.settings.texts[kHdmiKey]));
}

class LittleMemory : public QueryTest {};

// Calls action with one allocation after the other failing, until it succeeds. Returns how often it failed.
int Exhaust(const std::function<void()>& action)
{
    int failures = 0;
    for (long granted = 0;; ++granted) {
        try {
            g_allocationsLeft = granted;
            action();
            g_allocationsLeft = -1;
            return failures;
        } catch (const std::bad_alloc&) {
            g_allocationsLeft = -1;
            ++failures;
        }
        ThePlatform().log.clear();
        ThePlatform().sequence.clear();
    }
}

int Exhaust(const Query& query, int port)
{
    return Exhaust([&] {
        char text1[100] = {};
        char text2[100] = {};
        int numbers[2] = {};
        bool flag = false;
        static_cast<void>(query.call(port, {text1, text2, &numbers[0], &numbers[1], &flag}));
    });
}

// Nothing but JSON errors is caught; what is thrown instead leaves no lock held and nothing behind.
TEST_F(LittleMemory, LeavesAQueryAsBadAllocAndTheNextOneWorks)
{
    Json::Value record;
    record["DevType"] = 3;
    for (const char* key : {"DevName", "BName", "CName", "CECName", "PRName"}) record[key] = std::string(120, 't');
    for (const int port : {1, kOptical}) {
        GivenRecord(port, record);
        for (const Query& query : AllQueries()) {
            EXPECT_GT(Exhaust(query, port), 0) << query.name;
            EXPECT_EQ(Ask(query, port), Expected(query, port, &platform.settings.texts[StoredKey(port)]));
        }
    }
}

TEST_F(LittleMemory, LeavesARecordAndATableAsBadAlloc)
{
    qdinfo::CQDInfoServerData store;
    store.CreateAndAddNewActivity();
    store.SetBrandName(std::string(120, 'b').c_str(), 0);
    qdinfo::CQDInfoActivityInfo record;
    record.SetBrandName(std::string(120, 'b').c_str());
    const auto expectTrue = [](bool result) { EXPECT_TRUE(result); };  // never false instead of the exception

    Json::Value object;
    EXPECT_GT(Exhaust([&] {
                  object = Json::Value();
                  expectTrue(record.Write(object));
              }),
              0);
    Json::Value written(Json::objectValue);
    EXPECT_GT(Exhaust([&] {
                  written = Json::Value(Json::objectValue);
                  expectTrue(record.Write(written));
              }),
              0);
    EXPECT_EQ(written, object);
    EXPECT_GT(Exhaust([&] { expectTrue(qdinfo::CQDInfoActivityInfo().Read(object)); }), 0);

    Json::Value root;
    EXPECT_GT(Exhaust([&] { expectTrue(store.GetActivityInfoToStream(root)); }), 0);
    EXPECT_GT(Exhaust([&] { expectTrue(store.SetActivityInfoFromStream(root)); }), 0);
    EXPECT_GT(Exhaust([&] { expectTrue(store.GetOpticalActivityInfoToStream(root)); }), 0);
}

// The writer's stream does not report that it could not grow, so the text ends somewhere inside the document.
TEST_F(LittleMemory, LosesNoStoredDocumentToASaveThatWasCut)
{
    qdinfo::CQDInfoServerData store;
    store.CreateAndAddNewActivity();
    for (int port = 0; port < ExpectedHdmiCount(); ++port) {
        store.SetBrandName(std::string(50000, 'b').c_str(), port);
        store.SetDeviceName(std::string(50000, 'd').c_str(), port);
    }
    GivenText(0, "old");
    ForgetCalls();

    g_largest = 200000;
    const bool saved = store.t_SaveActivityInfoToFile();
    g_largest = SIZE_MAX;

    EXPECT_FALSE(saved);
    EXPECT_EQ(platform.settings.texts[kHdmiKey], "old");
    EXPECT_TRUE(platform.SequenceWithoutLog().empty());
    EXPECT_EQ(platform.sequence.back(), "E QDInfoServerData.cpp t_SaveActivityInfoToFile:  save to file error");
    EXPECT_TRUE(store.t_SaveActivityInfoToFile());
    EXPECT_GT(platform.settings.texts[kHdmiKey].size(), 400000U);
}

// ---- The callback of an application ----

void Ignore(void*, srcwatch_event_s*) {}

TEST(EventCallbackWithoutMemory, IsNotRegistered)
{
    ThePlatform() = Platform();

    g_nothrowFails = true;
    const int result = srcwatch_register_event_callback(&Ignore, nullptr);
    g_nothrowFails = false;

    EXPECT_EQ(result, 0);
    EXPECT_THAT(ThePlatform().sequence, ElementsAre("E QDInfo.cpp srcwatch_register_event_callback: new error"));
    EXPECT_EQ(srcwatch_unregister_event_callback(&Ignore), 0);
}

}  // namespace
