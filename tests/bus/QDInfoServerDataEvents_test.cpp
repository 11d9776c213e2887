// SPDX-License-Identifier: Apache-2.0
//
// What a save writes, logs and announces, in which order.
#include "BusTest.h"
#include "QDInfoAPI.h"
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"

#include <algorithm>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoServerData;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::MatchesRegex;

const std::vector<std::string> kAnnouncement = {
    std::string("D QDInfoEventManager.cpp m_SendExternalEvent: ") + kChannelLine,
    "D QDInfoEventManager.cpp m_ConvertEventToStream: UNKNOWN UNKNOWN UNKNOWN",
    "D QDInfoEventManager.cpp m_SendExternalEvent: Send external event success"};

class Announcement : public BusTest {
protected:
    Announcement()
    {
        store.CreateAndAddNewActivity();
        peer.Listen(kChannelName);
        platform.sequence.clear();
    }

    using Save = void (CQDInfoServerData::*)(int);
    static constexpr Save kSaves[] = {&CQDInfoServerData::t_CheckAndSaveActivity,
                                      &CQDInfoServerData::t_CheckAndSaveActivityWithNotify};

    void ExpectAnnouncements(std::size_t count)
    {
        peer.Sync();
        const std::vector<BusMessage> signals = peer.WaitForSignals(count);
        ASSERT_EQ(signals.size(), count);
        for (const BusMessage& signal : signals) {
            EXPECT_EQ(signal.type, 4104);
            EXPECT_EQ(signal.text, kEmptyMessage);
        }
    }

    // What was recorded since the last call, with the saved document as <document>.
    std::vector<std::string> TakeSequence()
    {
        std::vector<std::string> entries;
        for (std::string entry : platform.sequence) {
            const std::size_t document = entry.find('{');
            if (document != std::string::npos) {
                entry.replace(document, entry.rfind('}') + 1 - document, "<document>");
            }
            entries.push_back(entry);
        }
        platform.sequence.clear();
        return entries;
    }

    std::vector<std::string> WithAnnouncement(std::vector<std::string> entries)
    {
        entries.insert(entries.end(), kAnnouncement.begin(), kAnnouncement.end());
        return entries;
    }

    CQDInfoServerData store;
    BusPeer peer;
};

constexpr char kSize[] = "E QDInfoData.cpp GetActivityInfoToStream: t_ActivityInfo.size() = 4 ";
constexpr char kSet[] = "sets db/srcwatch-service/source-activity <document>";

TEST_F(Announcement, FollowsASave)
{
    for (const Save save : kSaves) {
        (store.*save)(1);

        EXPECT_THAT(TakeSequence(),
                    ElementsAreArray(WithAnnouncement({kSize, kSet,
                                                       "D QDInfoServerData.cpp t_SaveActivityInfoToFile:  set "
                                                       "db/srcwatch-service/source-activity succeed! <<document>>"})));
    }
    ExpectAnnouncements(2);
}

TEST_F(Announcement, FollowsASaveOfAnyOtherPortThan99)
{
    for (const int port : {-1, 0, 7, 8, 98, 100, INT32_MAX, INT32_MIN}) {
        store.t_CheckAndSaveActivity(port);
        EXPECT_EQ(TakeSequence().at(1), kSet) << port;
    }
    ExpectAnnouncements(8);
}

TEST_F(Announcement, FollowsASaveOfAnEmptyTable)
{
    CQDInfoServerData empty;

    empty.t_CheckAndSaveActivity(1);

    EXPECT_EQ(platform.settings.texts[VCONF_SOURCE_ACTIVITY], "null");
    ExpectAnnouncements(1);
}

TEST_F(Announcement, OfPort99ComesWithoutASave)
{
    for (const Save save : kSaves) {
        (store.*save)(99);

        EXPECT_THAT(TakeSequence(), ElementsAreArray(kAnnouncement));
    }
    ExpectAnnouncements(2);
    EXPECT_THAT(platform.settings.texts, IsEmpty());
}

TEST_F(Announcement, FollowsAFailedSaveToo)
{
    platform.settings.texts[VCONF_SOURCE_ACTIVITY] = "as it was";
    platform.settings.unwritable.insert(VCONF_SOURCE_ACTIVITY);
    for (const Save save : kSaves) {
        (store.*save)(1);

        EXPECT_THAT(TakeSequence(),
                    ElementsAreArray(WithAnnouncement({kSize, kSet,
                                                       "D QDInfoServerData.cpp t_SaveActivityInfoToFile:  set "
                                                       "db/srcwatch-service/source-activity failed! <<document>>"})));
    }
    ExpectAnnouncements(2);
    EXPECT_EQ(platform.settings.texts[VCONF_SOURCE_ACTIVITY], "as it was");
}

TEST_F(Announcement, HasLeftTheProcessWhenTheSaveReturns)
{
    for (int i = 0; i < 50; ++i) store.t_CheckAndSaveActivity(1);

    peer.Sync();
    EXPECT_EQ(peer.Signals().size(), 50U);
}

TEST_F(Announcement, ComesAfterTheDocumentWasWritten)
{
    store.SetBrandName("Written before", 1);

    store.t_CheckAndSaveActivity(1);

    ExpectAnnouncements(1);
    EXPECT_NE(platform.settings.texts[VCONF_SOURCE_ACTIVITY].find("Written before"), std::string::npos);
}

TEST_F(Announcement, IsLostWithoutABusButTheDocumentIsSaved)
{
    EndBus();

    store.t_CheckAndSaveActivity(1);

    const std::vector<std::string> sequence = TakeSequence();
    ASSERT_EQ(sequence.size(), 4U);
    EXPECT_EQ(sequence[1], kSet);
    EXPECT_THAT(sequence[3], MatchesRegex("E QDInfoEventManager.cpp m_Connect: Couldn't connect to DBus bus: '.+'"));
    EXPECT_EQ(platform.settings.texts.count(VCONF_SOURCE_ACTIVITY), 1U);
}

// The store calls the save through its virtual table.
class OwnSave : public CQDInfoServerData {
public:
    bool t_SaveActivityInfoToFile() override
    {
        ++saves;
        return false;
    }
    int saves = 0;
};

TEST_F(Announcement, FollowsTheSaveOfADerivedStore)
{
    OwnSave own;
    own.t_CheckAndSaveActivity(1);
    own.t_CheckAndSaveActivityWithNotify(1);
    own.t_CheckAndSaveActivity(99);

    EXPECT_EQ(own.saves, 2);
    ExpectAnnouncements(3);
}

TEST_F(Announcement, FollowsASaveByTheExportedFunction)
{
    CQDInfoAPI::Create(true);
    platform.sequence.clear();

    srcwatch_set_source_info(1, 0);
    srcwatch_set_source_info(1, 1);
    srcwatch_set_source_info(99, 0);
    srcwatch_set_source_info(1, 2);

    ExpectAnnouncements(3);
    EXPECT_EQ(std::count(platform.sequence.begin(), platform.sequence.end(), kAnnouncement.back()), 3);
    CQDInfoAPI::Destroy();
}

}  // namespace
