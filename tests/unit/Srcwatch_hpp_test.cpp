// SPDX-License-Identifier: Apache-2.0
//
// The C++ interface over the platform in memory: what it makes of the answers of the C functions, and how often it
// reads.
#include "QueryTest.h"
#include "srcwatch.hpp"

#include <algorithm>
#include <type_traits>

namespace {

using namespace srcwatch_test;
using srcwatch::DeviceType;
using srcwatch::Error;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kProgressKey[] = "memory/srcwatch-service/scan_result";

Json::Value Record(const std::string& key, const Json::Value& value)
{
    Json::Value record;
    record[key] = value;
    return record;
}

class CppInterface : public QueryTest {
protected:
    void GivenRecords(const std::vector<Json::Value>& records)
    {
        Json::Value document;
        for (const Json::Value& record : records) document["activity"].append(record);
        GivenText(0, Json::writeString(Json::StreamWriterBuilder(), document));
    }
    static Json::Value Player()
    {
        Json::Value record = Record("DevType", 3);
        record["DevName"] = "BDQ-900";
        record["BName"] = "Quellon";
        return record;
    }
    // How often the settings store was read since the last ForgetCalls().
    std::ptrdiff_t Reads() const
    {
        return std::count_if(platform.sequence.begin(), platform.sequence.end(),
                             [](const std::string& call) { return call.rfind("gets ", 0) == 0; });
    }
};

struct TextField {
    const char* key;
    srcwatch::Result<std::string> (*query)(int port);
};

const TextField kTextFields[] = {
    {"CECName", srcwatch::cec_name},   {"ModelName", srcwatch::model_name}, {"MFName", srcwatch::manufacturer_name},
    {"CName", srcwatch::codeset_name}, {"PRName", srcwatch::provider_name}, {"CDevName", srcwatch::cec_device_name},
    {"AKSV", srcwatch::aksv}};

TEST_F(CppInterface, ReadsEachTextFromItsMemberOnce)
{
    for (const TextField& field : kTextFields) {
        GivenRecord(1, Record(field.key, "Living room"));
        ForgetCalls();

        const auto text = field.query(1);

        ASSERT_TRUE(text) << field.key;
        EXPECT_EQ(*text, "Living room") << field.key;
        EXPECT_EQ(Reads(), 1) << field.key;
    }
}

TEST_F(CppInterface, EndsATextThatFillsTheBuffer)
{
    for (const std::size_t length : {99U, 100U, 101U, 5000U}) {
        GivenRecord(0, Record("CECName", std::string(length, 'x')));

        EXPECT_EQ(srcwatch::cec_name(0).value(), std::string(std::min<std::size_t>(length, 100), 'x'));
    }
}

TEST_F(CppInterface, HasAnErrorInsteadOfAValue)
{
    GivenRecord(0, Record("CECName", Json::objectValue));

    const auto unreadable = srcwatch::cec_name(0);

    EXPECT_FALSE(unreadable);
    EXPECT_EQ(unreadable.error(), Error::unreadable);
    EXPECT_EQ(unreadable.value_or("nothing"), "nothing");
    EXPECT_EQ(srcwatch::cec_name(8).error(), Error::not_a_port);
    EXPECT_EQ(srcwatch::device(-1).error(), Error::not_a_port);
    EXPECT_THROW(static_cast<void>(srcwatch::device_type(8).value()), srcwatch::BadResult);
    EXPECT_EQ(to_string(Error::not_a_port), "not a port");
}

TEST_F(CppInterface, ReadsNumbersFromTheirMembersOnce)
{
    Json::Value record = Record("DevType", 6);
    record["DenyCount"] = 4;
    record["DMethod"] = 2;
    record["ScanState"] = 1;
    record["PrevPort"] = 3;
    record["Changed"] = 2;
    GivenRecord(2, record);
    ForgetCalls();

    EXPECT_EQ(srcwatch::device_type(2).value(), DeviceType::game_console);
    EXPECT_EQ(srcwatch::deny_count(2).value(), 4);
    EXPECT_EQ(srcwatch::detection_method(2).value(), SRCWATCH_METHOD_SPD);
    EXPECT_EQ(srcwatch::scan_state(2).value(), srcwatch::ScanState::found);
    const srcwatch::Change change = srcwatch::change(2).value();
    EXPECT_TRUE(change.changed);
    EXPECT_EQ(change.previous_port, 3);
    EXPECT_EQ(Reads(), 5);
    EXPECT_EQ(srcwatch::scan_state(9).error(), Error::not_a_port);
    EXPECT_EQ(srcwatch::change(9).error(), Error::not_a_port);
}

TEST_F(CppInterface, ComposesADeviceFromOneRead)
{
    GivenRecord(1, Player());
    ForgetCalls();

    const srcwatch::Device device = srcwatch::device(1).value();

    EXPECT_EQ(device.port, 1);
    EXPECT_EQ(device.type, DeviceType::disc_player);
    EXPECT_EQ(device.name, "BDQ-900");
    EXPECT_EQ(device.detail, "Quellon");
    EXPECT_TRUE(device.is_present());
    EXPECT_EQ(Reads(), 1);
}

TEST_F(CppInterface, HasNoNameWithoutADevice)
{
    const srcwatch::Device device = srcwatch::device(0).value();

    EXPECT_FALSE(device.is_present());
    EXPECT_EQ(device.name, "");
}

TEST_F(CppInterface, KeepsTypesThatItDoesNotKnow)
{
    GivenRecord(0, Record("DevType", 77));

    const srcwatch::Device device = srcwatch::device(0).value();

    EXPECT_TRUE(device.is_present());
    EXPECT_EQ(static_cast<int>(device.type), 77);
    EXPECT_EQ(to_string(device.type), "type 77");
    EXPECT_EQ(to_string(DeviceType::set_top_box), "set-top box");
    EXPECT_EQ(to_string(srcwatch::ScanState::not_scanned), "not scanned");
    EXPECT_EQ(to_string(static_cast<srcwatch::ScanState>(9)), "state 9");
}

TEST_F(CppInterface, ListsTheDevicesThatAreThere)
{
    GivenRecords({Record("DevType", 0), Player(), Json::nullValue, Record("DevType", 9)});
    GivenRecord(SRCWATCH_PORT_OPTICAL, Record("DevType", 4));
    ForgetCalls();

    std::vector<int> ports;
    for (const srcwatch::Device& device : srcwatch::devices().value()) ports.push_back(device.port);

    EXPECT_THAT(ports, ElementsAre(1, 3, 99));
    EXPECT_EQ(Reads(), 5);
}

TEST_F(CppInterface, ListsNothingIfOneRecordIsUnreadable)
{
    GivenRecords({Player(), Record("DevType", "player")});

    EXPECT_EQ(srcwatch::devices().error(), Error::unreadable);
}

TEST_F(CppInterface, HasTheCodesetOrSaysThatThereIsNone)
{
    Json::Value record = Player();
    record["CName"] = "Q17";
    GivenRecord(0, record);
    GivenRecord(SRCWATCH_PORT_OPTICAL, Player());

    EXPECT_EQ(srcwatch::codeset(0).value(), "Q17");
    EXPECT_EQ(srcwatch::codeset(SRCWATCH_PORT_OPTICAL).error(), Error::no_codeset);
    record["CName"] = "Q123456789012";
    GivenRecord(0, record);
    EXPECT_EQ(srcwatch::codeset(0).value(), "Q123456789");
}

TEST_F(CppInterface, HasTheTextsOfAResultWhereTheTypeHasThem)
{
    GivenRecord(0, Player());
    EXPECT_EQ(srcwatch::result_text_1(0).value(), "BDQ-900");
    EXPECT_EQ(srcwatch::result_text_2(0).value(), "Quellon");

    GivenRecord(0, Record("DevType", 7));
    EXPECT_EQ(srcwatch::result_text_1(0).value(), "");
    EXPECT_EQ(srcwatch::result_text_2(0).value(), "");
}

TEST_F(CppInterface, ShowsTheFeaturesOfTheTv)
{
    platform.settings.numbers["memory/srcwatch-service/mvpd_auto_detect_support"] = 1;
    platform.settings.numbers["memory/srcwatch-service/hotplug_progress"] = 1;

    const srcwatch::Features features = srcwatch::features();

    EXPECT_TRUE(features.mvpd_enabled);
    EXPECT_TRUE(features.hotplug_running);
    EXPECT_FALSE(features.hotplug_enabled);
    EXPECT_FALSE(features.notification_running);
    EXPECT_TRUE(features.no_device);  // this TV has neither remote
}

TEST_F(CppInterface, CommandsScans)
{
    const auto command = [this] { return platform.settings.numbers["memory/srcwatch-service/scan_progress"]; };

    const srcwatch::Scan scan = srcwatch::scan();
    EXPECT_EQ(command(), SCAN_COMMAND_OOBE_START);
    scan.stop();
    EXPECT_EQ(command(), SCAN_COMMAND_OOBE_STOP);
    scan.resume();
    EXPECT_EQ(command(), SCAN_COMMAND_OOBE_RESUME);
}

TEST_F(CppInterface, ShowsTheProgressOfAScan)
{
    struct Case {
        int stored;
        srcwatch::ScanStage stage;
        int percent;
    };
    for (const Case& c : {Case{145, srcwatch::ScanStage::running, 45}, Case{0, srcwatch::ScanStage::running, 0},
                          Case{3, srcwatch::ScanStage::final_stage, 90}, Case{-1, srcwatch::ScanStage::stopped, 0},
                          Case{-2, srcwatch::ScanStage::failed, 0}, Case{-3, srcwatch::ScanStage::nothing_found, 0}}) {
        platform.settings.numbers[kProgressKey] = c.stored;

        const srcwatch::ScanProgress progress = srcwatch::Scan().progress().value();

        EXPECT_EQ(progress.stage, c.stage) << c.stored;
        EXPECT_EQ(progress.percent, c.percent) << c.stored;
    }
    platform.settings.numbers[kProgressKey] = 191;
    EXPECT_EQ(srcwatch::Scan().progress().error(), Error::no_progress);
    platform.settings.numbers.erase(kProgressKey);
    EXPECT_EQ(srcwatch::Scan().progress().error(), Error::no_progress);
}

// A reference into a temporary would dangle in a loop over it.
TEST_F(CppInterface, ReturnsTheValueOfATemporaryByValue)
{
    using Result = srcwatch::Result<std::string>;
    EXPECT_TRUE((std::is_same_v<decltype(std::declval<Result>().value()), std::string>));
    EXPECT_TRUE((std::is_same_v<decltype(*std::declval<Result>()), std::string>));
}

TEST_F(CppInterface, MovesSubscriptionsAndDoesNotCopyThem)
{
    EXPECT_FALSE(std::is_copy_constructible_v<srcwatch::Subscription>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<srcwatch::Subscription>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<srcwatch::Subscription>);
}

}  // namespace
