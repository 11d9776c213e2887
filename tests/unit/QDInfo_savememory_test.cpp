// SPDX-License-Identifier: Apache-2.0
//
// A save when memory runs out at any one point. JsonCpp allocates its texts with malloc, and throws an exception of its
// own when it gets none; so this program's malloc fails once, on demand.
#include "QDInfoServerData.h"
#include "QueryTest.h"

#include <cstdlib>
#include <new>
#include <set>
#include <utility>

extern "C" void* __libc_malloc(std::size_t size) noexcept;  // the C library's own, behind the one defined here

namespace {

long g_mallocsLeft = -1;  // until one fails; negative: none does

}  // namespace

// Seen by the libraries of this program too.
extern "C" __attribute__((visibility("default"))) void* malloc(std::size_t size) noexcept
{
    if (g_mallocsLeft >= 0 && g_mallocsLeft-- == 0) return nullptr;
    return __libc_malloc(size);
}

namespace {

using namespace srcwatch_test;
using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::IsSupersetOf;
using testing::StartsWith;

// Runs body, which returns true if it succeeded, while the malloc after granted ones fails. Returns "done", or the last
// line at ERROR, or what happened instead of one.
template <typename Body>
std::string Try(long granted, Body body)
{
    Platform& platform = ThePlatform();
    platform.log.clear();
    bool done = false;
    g_mallocsLeft = granted;
    try {
        done = body();
    } catch (const std::bad_alloc&) {
        g_mallocsLeft = -1;
        return "bad_alloc";
    }
    g_mallocsLeft = -1;
    if (done) return "done";
    const auto errors = platform.LogOf(DLOG_ERROR);
    return errors.empty() ? "no line" : errors.back();
}

class SaveWithoutMemory : public QueryTest {};

// The first test, as it makes what is made once in a process.
TEST_F(SaveWithoutMemory, WritesAWholeRecordOrNothing)
{
    qdinfo::CQDInfoActivityInfo record;
    record.SetBrandName("a brand that does not fit into the string itself");
    std::set<std::string> outcomes;
    Json::Value written;
    for (long granted = 0; written.isNull(); ++granted) {
        const std::string outcome = Try(granted, [&] { return record.Write(written); });
        outcomes.insert(outcome);
        EXPECT_EQ(written.size(), outcome == "done" ? 18U : 0U) << granted;
    }

    EXPECT_THAT(outcomes, IsSupersetOf({"done", "bad_alloc"}));
    const auto refused = StartsWith("Write: Exception Handled by CQDInfoActivityInfo::Write: ");
    EXPECT_THAT(outcomes, Contains(refused));
    EXPECT_THAT(outcomes, Each(AnyOf("done", "bad_alloc", refused)));
    EXPECT_EQ(written["BName"], "a brand that does not fit into the string itself");
}

TEST_F(SaveWithoutMemory, StoresTheWholeDocumentOrNothing)
{
    qdinfo::CQDInfoServerData store;
    store.CreateAndAddNewActivity();
    store.SetBrandName("brand", 0);
    Json::Value whole;
    ASSERT_TRUE(store.GetActivityInfoToStream(whole));
    const std::string text = Json::writeString(Json::StreamWriterBuilder(), whole);

    std::set<std::string> outcomes;
    std::string outcome;
    for (long granted = 0; outcome != "done"; ++granted) {
        platform.settings.texts[kHdmiKey] = "old";
        outcome = Try(granted, [&] { return store.t_SaveActivityInfoToFile(); });
        outcomes.insert(outcome);
        const std::string stored = platform.settings.texts[kHdmiKey];
        EXPECT_TRUE(stored == text || (stored == "old" && outcome != "done")) << granted << ' ' << outcome;
    }

    EXPECT_THAT(outcomes, IsSupersetOf({"done", "bad_alloc", "t_SaveActivityInfoToFile:  save to file error"}));
    EXPECT_THAT(outcomes, Contains(StartsWith("t_SaveActivityInfoToFile: Exception Handled by "
                                              "t_SaveActivityInfoToFile: ")));
}

TEST_F(SaveWithoutMemory, ReadsARecordOrLogsWhyNot)
{
    std::set<std::string> outcomes;
    std::string outcome;
    for (long granted = 0; outcome != "done"; ++granted) {
        qdinfo::CQDInfoActivityInfo record;
        Json::Value nothing(Json::objectValue);  // each of its members is added
        outcome = Try(granted, [&] { return record.Read(nothing); });
        outcomes.insert(outcome);
    }

    EXPECT_THAT(outcomes, IsSupersetOf({"done", "bad_alloc"}));
    EXPECT_THAT(outcomes, Contains(StartsWith("Read: Exception Handled by CQDInfoActivityInfo::Read: ")));
}

TEST_F(SaveWithoutMemory, LoadsTheWholeTableOrKeepsItsOwn)
{
    Json::Value present;
    present["activity"][0]["BName"] = "present";
    Json::Value other;
    other["activity"][0]["BName"] = "other";
    const std::pair<std::string, const char*> documents[] = {{TextOf(other), "other"}, {"{}", ""}};
    for (const auto& [document, brand] : documents) {
        qdinfo::CQDInfoServerData store;
        platform.settings.texts[kHdmiKey] = TextOf(present);
        ASSERT_TRUE(store.t_LoadActivityInfoToMemory());

        platform.settings.texts[kHdmiKey] = document;
        bool loaded = false;
        for (long granted = 0; !loaded; ++granted) {
            loaded = Try(granted, [&] { return store.t_LoadActivityInfoToMemory(); }) == "done";
            EXPECT_STREQ(store.GetBrandName(0), loaded ? brand : "present") << document << ' ' << granted;
        }
    }
}

}  // namespace
