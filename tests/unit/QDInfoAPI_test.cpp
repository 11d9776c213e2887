// SPDX-License-Identifier: Apache-2.0
//
// The lifecycle of the store in the service and in its clients.
#include "QDInfoAPI.h"

#include "QDInfoServerData.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

namespace {

using namespace srcwatch_test;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoData;
using testing::ElementsAre;

using Singleton = qdinfo::CSingleton<qdinfo::CQDInfoServerData>;

const std::string kGet = std::string("gets ") + kHdmiKey;
const std::string kFailed =
    std::string("E QDInfoServerData.cpp t_LoadActivityInfoToMemory: get ") + kHdmiKey + " failed!";
const std::string kCreate = "D QDInfoAPI.cpp GetQDInfoUtil: Create Util  !";
const std::string kInit = "D QDInfoAPI.cpp Create: init Util  !";
const std::string kDestroy = "D QDInfoAPI.cpp Destroy: Destroy Util  !";
const std::string kNew = "E QDInfoCommon.h GetInstance: new......\n";
const std::string kDelete = "E QDInfoCommon.h DestroyInstance:  DestroyInstance() \n";

// Begins and ends as a client without a store.
class Lifecycle : public PlatformTest {
public:
    ~Lifecycle() override
    {
        CQDInfoAPI::Create(true);
        CQDInfoAPI::Destroy();
        CQDInfoAPI::Create(false);
    }

protected:
    void ForgetCalls()
    {
        platform.log.clear();
        platform.sequence.clear();
    }

    // Returns true if the process has a store, which is gone afterwards.
    bool StoreIsThere()
    {
        ForgetCalls();
        Singleton::DestroyInstance();
        return !platform.sequence.empty();
    }
};

TEST_F(Lifecycle, MakesNoStoreForAClient)
{
    EXPECT_FALSE(CQDInfoAPI::Create(false));
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), nullptr);
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), nullptr);

    EXPECT_THAT(platform.sequence, ElementsAre(kCreate, kCreate, kCreate));
    EXPECT_FALSE(StoreIsThere());
}

TEST_F(Lifecycle, IsThatOfAClientBeforeAnyDeclaration)
{
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), nullptr);
    EXPECT_THAT(platform.sequence, ElementsAre(kCreate));
}

TEST_F(Lifecycle, HasNothingToDestroyInAClient)
{
    CQDInfoAPI::Create(false);
    ForgetCalls();
    CQDInfoAPI::Destroy();
    EXPECT_TRUE(platform.sequence.empty());
}

TEST_F(Lifecycle, LeavesTheStoreThatAQueryMadeInAClient)
{
    CQDInfoAPI::Create(false);
    int type = 0;
    EXPECT_EQ(srcwatch_get_product_type_name(0, &type), 0);

    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), nullptr);
    CQDInfoAPI::Destroy();

    EXPECT_TRUE(StoreIsThere());
}

TEST_F(Lifecycle, MakesAndLoadsTheStoreOfTheService)
{
    platform.settings.texts[kHdmiKey] = R"({"activity":[{"BName":"stored"}]})";

    EXPECT_TRUE(CQDInfoAPI::Create(true));

    EXPECT_THAT(platform.sequence, ElementsAre(kCreate, kNew, kInit, kGet,
                                               std::string("D QDInfoServerData.cpp t_LoadActivityInfoToMemory:  get ") +
                                                   kHdmiKey + R"( succeed! <{"activity":[{"BName":"stored"}]}>)"));
    EXPECT_STREQ(CQDInfoAPI::GetQDInfoUtil()->GetBrandName(0), "stored");
}

TEST_F(Lifecycle, KeepsTheStoreThatCouldNotBeLoaded)
{
    EXPECT_FALSE(CQDInfoAPI::Create(true));

    EXPECT_THAT(platform.sequence, ElementsAre(kCreate, kNew, kInit, kGet, kFailed));
    ForgetCalls();
    CQDInfoData* store = CQDInfoAPI::GetQDInfoUtil();
    ASSERT_NE(store, nullptr);
    EXPECT_TRUE(platform.sequence.empty());
    EXPECT_TRUE(store->CreateAndAddNewActivity());
}

TEST_F(Lifecycle, KeepsTheStoreWhoseDocumentHasAnotherShape)
{
    platform.settings.texts[kHdmiKey] = "7";

    EXPECT_FALSE(CQDInfoAPI::Create(true));

    ASSERT_EQ(platform.sequence.size(), 7U);
    EXPECT_EQ(platform.sequence[4],
              std::string("D QDInfoServerData.cpp t_LoadActivityInfoToMemory:  get ") + kHdmiKey + " succeed! <7>");
    EXPECT_THAT(platform.sequence[5], testing::StartsWith("E QDInfoData.cpp SetActivityInfoFromStream: "));
    EXPECT_EQ(platform.sequence[6], "E QDInfoServerData.cpp t_LoadActivityInfoToMemory:  load to file error");
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), Singleton::GetInstance());
}

TEST_F(Lifecycle, HandsOutTheSingleton)
{
    CQDInfoAPI::Create(true);
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), Singleton::GetInstance());
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), CQDInfoAPI::GetQDInfoUtil());
}

TEST_F(Lifecycle, TakesTheStoreThatAQueryMade)
{
    CQDInfoData* store = Singleton::GetInstance();
    ForgetCalls();
    CQDInfoAPI::Create(true);
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), store);
    EXPECT_THAT(platform.sequence, ElementsAre(kCreate, kInit, kGet, kFailed));
}

TEST_F(Lifecycle, LoadsAgainWhenTheServiceIsDeclaredAgain)
{
    CQDInfoAPI::Create(true);
    CQDInfoData* store = CQDInfoAPI::GetQDInfoUtil();
    ForgetCalls();
    EXPECT_FALSE(CQDInfoAPI::Create(true));
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), store);
    EXPECT_THAT(platform.sequence, ElementsAre(kInit, kGet, kFailed));
}

TEST_F(Lifecycle, DestroysTheStoreOfTheServiceOnce)
{
    CQDInfoAPI::Create(true);
    ForgetCalls();

    CQDInfoAPI::Destroy();
    EXPECT_THAT(platform.sequence, ElementsAre(kDestroy, kDelete));
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld>  DestroyInstance() \n\n");
    CQDInfoAPI::Destroy();
    EXPECT_THAT(platform.sequence, ElementsAre(kDestroy, kDelete));
    EXPECT_FALSE(StoreIsThere());
}

TEST_F(Lifecycle, StaysThatOfTheServiceAfterDestroy)
{
    CQDInfoAPI::Create(true);
    CQDInfoAPI::Destroy();
    ForgetCalls();

    CQDInfoData* store = CQDInfoAPI::GetQDInfoUtil();

    ASSERT_NE(store, nullptr);
    EXPECT_EQ(store, Singleton::GetInstance());
    EXPECT_THAT(platform.sequence, ElementsAre(kCreate, kNew));
    EXPECT_EQ(platform.log.back().format, "%s: %s(%d) > <%ld> new......\n\n");
    CQDInfoAPI::Destroy();
    EXPECT_FALSE(StoreIsThere());
}

TEST_F(Lifecycle, KeepsTheStoreWhenTheServiceDeclaresItselfAClient)
{
    platform.settings.texts[kHdmiKey] = R"({"activity":[]})";
    CQDInfoAPI::Create(true);
    CQDInfoData* store = CQDInfoAPI::GetQDInfoUtil();
    ForgetCalls();

    EXPECT_TRUE(CQDInfoAPI::Create(false));  // loads again
    EXPECT_THAT(platform.sequence, testing::Contains(kInit));
    EXPECT_THAT(platform.sequence, testing::Contains(kGet));
    EXPECT_THAT(platform.sequence, testing::Not(testing::Contains(kCreate)));
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), store);

    ForgetCalls();
    CQDInfoAPI::Destroy();
    EXPECT_THAT(platform.sequence, ElementsAre(kDestroy));
    EXPECT_EQ(CQDInfoAPI::GetQDInfoUtil(), nullptr);
    EXPECT_EQ(Singleton::GetInstance(), store);
    EXPECT_TRUE(StoreIsThere());
}

TEST_F(Lifecycle, CanBecomeThatOfTheServiceLater)
{
    CQDInfoAPI::Create(false);
    ForgetCalls();
    CQDInfoAPI::Create(true);
    EXPECT_NE(CQDInfoAPI::GetQDInfoUtil(), nullptr);
    EXPECT_THAT(platform.sequence, ElementsAre(kCreate, kNew, kInit, kGet, kFailed));
}

TEST_F(Lifecycle, MakesOneStoreForManyCallsAndDestroysItOnce)
{
    const auto* first = Singleton::GetInstance();
    EXPECT_EQ(Singleton::GetInstance(), first);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew));
    Singleton::DestroyInstance();
    Singleton::DestroyInstance();
    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kDelete));
    EXPECT_NE(Singleton::GetInstance(), nullptr);
    EXPECT_THAT(platform.sequence, ElementsAre(kNew, kDelete, kNew));
    EXPECT_TRUE(StoreIsThere());
}

}  // namespace
