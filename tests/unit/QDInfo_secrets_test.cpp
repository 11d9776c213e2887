// SPDX-License-Identifier: Apache-2.0
//
// What must not be seen in the log of a TV as shipped, which has no lines at DEBUG: key selection vectors of devices,
// and whole documents.
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"
#include "QueryTest.h"

namespace {

using namespace srcwatch_test;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

constexpr char kAksv[] = "0123456789abcdef";
constexpr char kDocumentsMember[] = "\"activity\"";

class Secrets : public QueryTest {
protected:
    Secrets()
    {
        Json::Value record;
        record["AKSV"] = kAksv;
        record["DevType"] = 3;
        record["DevName"] = "Player";
        record["CName"] = "C1";
        Json::Value document;
        for (int port = 0; port < ExpectedHdmiCount(); ++port) document["activity"][port] = record;
        platform.settings.texts[kHdmiKey] = TextOf(document);
        GivenRecord(kOptical, record);
        ForgetCalls();
    }

    void ExpectOnlyAtDebug()
    {
        for (const char* secret : {kAksv, kDocumentsMember}) {
            EXPECT_THAT(platform.LogOf(DLOG_ERROR), Each(Not(HasSubstr(secret))));
            EXPECT_THAT(platform.LogOf(DLOG_DEBUG), Contains(HasSubstr(secret)));
        }
    }
};

TEST_F(Secrets, AreLoggedByQueriesOnlyAtDebug)
{
    for (const Query& query : AllQueries()) {
        for (const int port : {0, 1, kOptical}) {
            SCOPED_TRACE(query.name);
            static_cast<void>(Ask(query, port));
            ExpectOnlyAtDebug();
        }
    }
}

TEST_F(Secrets, AreLoggedByTheTableAndItsSavesOnlyAtDebug)
{
    qdinfo::CQDInfoServerData store;
    ASSERT_TRUE(store.t_LoadActivityInfoToMemory());
    ASSERT_STREQ(store.GetAKSVKey(0), kAksv);
    ASSERT_TRUE(store.t_SaveActivityInfoToFile());
    platform.settings.unwritable.insert(kHdmiKey);
    ASSERT_FALSE(store.t_SaveActivityInfoToFile());

    ExpectOnlyAtDebug();
}

TEST_F(Secrets, AreNotInTheReasonsOfFailures)
{
    Json::Value record;
    record["AKSV"].append(kAksv);  // of another kind, which is logged as an exception
    GivenRecord(0, record);

    static_cast<void>(Ask(QueryNamed("srcwatch_get_aksv_info"), 0));

    EXPECT_THAT(platform.LogOf(DLOG_ERROR), Contains(HasSubstr("Exception Handled by")));
    ExpectOnlyAtDebug();
}

}  // namespace
