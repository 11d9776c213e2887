// SPDX-License-Identifier: Apache-2.0
//
// Saving the record of a port.
#include "QDInfoServerData.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;

const std::string kKey = kHdmiKey;

class SetSourceInfo : public QueryTest {
protected:
    // What a save of an empty table and its announcement leave.
    const std::vector<std::string> saved = {
        "E QDInfoData.cpp GetActivityInfoToStream: t_ActivityInfo.size() = 0 ", "sets " + kKey + " null",
        "D QDInfoServerData.cpp t_SaveActivityInfoToFile:  set " + kKey + " succeed! <null>", kNoBus};
};

TEST_F(SetSourceInfo, SavesAndAnnouncesTheSameInBothModes)
{
    for (const int mode : {0, 1}) {
        for (const int port : {INT_MIN, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 98, 100, INT_MAX}) {
            ForgetCalls();
            srcwatch_set_source_info(port, mode);
            EXPECT_EQ(SequenceWithoutBusReason(), saved) << port;
        }
    }
}

TEST_F(SetSourceInfo, OnlyAnnouncesTheOpticalPort)
{
    for (const int mode : {0, 1}) {
        ForgetCalls();
        srcwatch_set_source_info(kOptical, mode);
        EXPECT_THAT(SequenceWithoutBusReason(), ElementsAre(kNoBus));
    }
}

TEST_F(SetSourceInfo, AnnouncesAFailedSaveToo)
{
    platform.settings.unwritable.insert(kKey);
    GivenText(0, "kept");
    for (const int mode : {0, 1}) {
        ForgetCalls();
        srcwatch_set_source_info(0, mode);
        EXPECT_THAT(
            SequenceWithoutBusReason(),
            ElementsAre(saved[0], saved[1],
                        "D QDInfoServerData.cpp t_SaveActivityInfoToFile:  set " + kKey + " failed! <null>", kNoBus));
    }
    EXPECT_EQ(platform.settings.texts[kKey], "kept");
}

TEST_F(SetSourceInfo, DoesNothingInAnotherMode)
{
    qdinfo::CSingleton<qdinfo::CQDInfoServerData>::DestroyInstance();
    ForgetCalls();
    for (const int mode : {INT_MIN, -1, 2, 3, 99, INT_MAX}) {
        for (const int port : kAcceptedPorts) srcwatch_set_source_info(port, mode);
    }
    EXPECT_TRUE(platform.sequence.empty());
}

TEST_F(SetSourceInfo, MakesTheStoreInAProcessThatIsNotTheService)
{
    qdinfo::CSingleton<qdinfo::CQDInfoServerData>::DestroyInstance();
    ForgetCalls();
    srcwatch_set_source_info(kOptical, 0);
    EXPECT_THAT(SequenceWithoutBusReason(), ElementsAre("E QDInfoCommon.h GetInstance: new......\n", kNoBus));
}

}  // namespace
