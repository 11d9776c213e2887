// SPDX-License-Identifier: Apache-2.0
#include "Composer.h"

#include "Evidence.h"
#include "Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using panel::ComposeDevice;
using testing::HasSubstr;

Json::Value Form(const std::string& text) { return panel::ParseObject(text).value_or(Json::Value("unreadable")); }

TEST(PanelComposer, MakesWhatADeviceSays)
{
    const auto device = ComposeDevice(Form(R"({"vendor": "ACME", "product": "Box 4K", "source_information": 1,
                                               "osd": "Acme Box", "device_type": 4, "aksv": "a5ac1925b7"})"));

    ASSERT_TRUE(device.capture.has_value()) << device.reason;
    const srcwatch::Evidence evidence = srcwatch::EvidenceOf(*device.capture, 1);
    ASSERT_NE(srcwatch::ValueOf(evidence.spd), nullptr);
    EXPECT_EQ(evidence.spd->value->vendor, "ACME");
    EXPECT_EQ(evidence.spd->value->product, "Box 4K");
    EXPECT_EQ(evidence.spd->value->sourceInformation, 1);
    ASSERT_NE(evidence.CecDeviceOnPort(), nullptr);
    EXPECT_EQ(evidence.CecDeviceOnPort()->osdName, "Acme Box");
    EXPECT_EQ(evidence.CecDeviceOnPort()->primaryDeviceType, 4);
    ASSERT_NE(srcwatch::ValueOf(evidence.aksv), nullptr);
    EXPECT_EQ(*evidence.aksv->value, "a5ac1925b7");
}

TEST(PanelComposer, LeavesOutWhatIsNotSaid)
{
    const auto device = ComposeDevice(Form(R"({"osd": "Box", "vendor": null, "aksv": ""})"));

    ASSERT_TRUE(device.capture.has_value()) << device.reason;
    EXPECT_TRUE(device.capture->spd.empty());
    EXPECT_TRUE(device.capture->aksv.empty());
    EXPECT_FALSE(device.capture->cec.empty());
}

TEST(PanelComposer, MakesDevicesOfEveryType)
{
    for (int type = 0; type <= 7; ++type) {
        Json::Value form;
        form["device_type"] = type;

        const auto device = ComposeDevice(form);

        ASSERT_TRUE(device.capture.has_value()) << device.reason;
        const srcwatch::Evidence evidence = srcwatch::EvidenceOf(*device.capture, 2);
        ASSERT_NE(evidence.CecDeviceOnPort(), nullptr) << type;
        EXPECT_EQ(evidence.CecDeviceOnPort()->primaryDeviceType, type);
    }
}

TEST(PanelComposer, RefusesADeviceWithoutData)
{
    EXPECT_THAT(ComposeDevice(Form("{}")).reason, HasSubstr("the device has no data"));
    EXPECT_THAT(ComposeDevice(Form(R"({"vendor": "", "osd": ""})")).reason, HasSubstr("the device has no data"));
    EXPECT_THAT(ComposeDevice(Json::Value()).reason, HasSubstr("not an object"));
}

TEST(PanelComposer, RefusesWhatDoesNotFit)
{
    const std::pair<const char*, const char*> kFaulty[] = {
        {R"({"vendor": "123456789"})", "vendor"},
        {R"({"product": "12345678901234567"})", "product"},
        {R"({"osd": "123456789012345"})", "osd"},
        {R"({"osd": "Br\u00fccke"})", "osd"},
        {R"({"osd": "a\nb"})", "osd"},
        {R"({"osd": 1})", "osd"},
        {R"({"source_information": 256})", "source_information"},
        {R"({"source_information": "1"})", "source_information"},
        {R"({"source_information": 1.5})", "source_information"},
        {R"({"device_type": 8})", "device_type"},
        {R"({"device_type": -1})", "device_type"},
        {R"({"aksv": "a5ac1925b7a5"})", "aksv"},
        {R"({"aksv": "a5a"})", "aksv"},
        {R"({"aksv": "zz"})", "aksv"},
        {R"({"aksv": 5})", "aksv"},
    };
    for (const auto& [form, field] : kFaulty) {
        const auto device = ComposeDevice(Form(form));

        EXPECT_FALSE(device.capture.has_value()) << form;
        EXPECT_THAT(device.reason, testing::StartsWith(field)) << form;
    }
}

}  // namespace
