// SPDX-License-Identifier: Apache-2.0
#include "QDInfoActivityInfo.h"

#include "TestPlatform.h"

namespace {

using qdinfo::CQDInfoActivityInfo;

class ActivityInfo : public srcwatch_test::PlatformTest {
protected:
    CQDInfoActivityInfo record;
};

TEST_F(ActivityInfo, ReadsAnEmptyObjectAsDefaultsAndCompletesItWithNulls)
{
    record.SetDeviceType(5);
    record.SetBrandName("Brand");
    Json::Value obj(Json::objectValue);

    EXPECT_TRUE(record.Read(obj));

    EXPECT_EQ(record.GetDeviceType(), 0);
    EXPECT_STREQ(record.GetBrandName(), "");
    EXPECT_EQ(obj.size(), 18U);
    for (const Json::Value& member : obj) EXPECT_TRUE(member.isNull());
}

}  // namespace
