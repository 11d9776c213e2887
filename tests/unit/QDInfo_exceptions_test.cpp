// SPDX-License-Identifier: Apache-2.0
//
// Exceptions that are not JSON's pass: the library does not catch them, log them or return a result for them, and no
// lock stays held.
#include "QDInfoAPI.h"
#include "QDInfoCommon.h"
#include "QDInfoServerData.h"
#include "QDInfoSettingUtil.h"
#include "QueryTest.h"
#include "srcwatch-api.h"

#include <algorithm>
#include <functional>
#include <new>
#include <stdexcept>
#include <utility>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoServerData;

using Singleton = qdinfo::CSingleton<CQDInfoServerData>;

class OtherException : public QueryTest {
public:
    ~OtherException() override
    {
        CQDInfoAPI::Create(true);
        CQDInfoAPI::Destroy();
        CQDInfoAPI::Create(false);
    }

protected:
    OtherException()
    {
        Json::Value record;
        record["DevType"] = 3;
        for (const char* key : {"DevName", "BName", "CName"}) record[key] = "text";
        for (const int port : {0, kOptical}) GivenRecord(port, record);
        platform.settings.texts[kStatisticsKey] = R"({"Auto":[{"port":0,"pri":0,"t":1}]})";
        for (const char* feature : {"bt_profile_bt_calvix", "cx_core_ir_tavrin"}) {
            platform.features[std::string("com.korvane/featureconf/") + feature] = true;
        }
        CQDInfoAPI::Create(true);
        store.CreateAndAddNewActivity();
    }

    // Makes each access to the settings by call throw in turn.
    void ExpectItPasses(const std::string& name, const std::function<void()>& call)
    {
        ExpectItPasses<std::bad_alloc>(name, call, std::bad_alloc());
        ExpectItPasses<std::runtime_error>(name, call, std::runtime_error("no settings"));
    }

    CQDInfoServerData store;
    Json::Value value;

private:
    template <typename Exception>
    void ExpectItPasses(const std::string& name, const std::function<void()>& call, const Exception& thrown)
    {
        const auto texts = platform.settings.texts;
        for (int before = 0;; ++before) {  // accesses that succeed before
            ForgetCalls();
            platform.settings.texts = texts;
            int accesses = 0;
            platform.settings.onAccess = [&] {
                if (accesses++ == before) throw thrown;
            };
            bool passed = false;
            try {
                call();
            } catch (const Exception&) {
                passed = true;
            }
            platform.settings.onAccess = nullptr;

            if (accesses <= before) {
                EXPECT_GT(before, 0) << name << " does not access the settings";
                return;
            }
            ASSERT_TRUE(passed) << name;
            EXPECT_EQ(platform.sequence.back(), platform.SequenceWithoutLog().back()) << name;
            ASSERT_TRUE(ReturnsInAnotherThread([] { Singleton::GetInstance(); })) << name;
        }
    }
};

TEST_F(OtherException, PassesThroughTheStore)
{
    std::vector<Json::Value> all(static_cast<std::size_t>(std::max(HDMI_PORT_COUNT, 1)));
    ExpectItPasses("t_Initialize", [&] { store.t_Initialize(); });
    ExpectItPasses("t_LoadActivityInfoToMemory", [&] { store.t_LoadActivityInfoToMemory(); });
    ExpectItPasses("t_LoadPortJsonInfoToMemory", [&] { store.t_LoadPortJsonInfoToMemory(0, value); });
    ExpectItPasses("t_LoadOpticalPortJsonInfoToMemory", [&] { store.t_LoadOpticalPortJsonInfoToMemory(99, value); });
    ExpectItPasses("t_LoadPortJsonKPIInfoToMemory", [&] { store.t_LoadPortJsonKPIInfoToMemory(0, value); });
    ExpectItPasses("t_LoadAllJsonKPIInfoToMemory", [&] { store.t_LoadAllJsonKPIInfoToMemory(all.data()); });
    ExpectItPasses("t_SaveActivityInfoToFile", [&] { store.t_SaveActivityInfoToFile(); });
    ExpectItPasses("t_CheckAndSaveActivity", [&] { store.t_CheckAndSaveActivity(0); });
    ExpectItPasses("t_CheckAndSaveActivityWithNotify", [&] { store.t_CheckAndSaveActivityWithNotify(0); });
    ExpectItPasses("Create", [] { CQDInfoAPI::Create(true); });
}

TEST_F(OtherException, PassesThroughTheQueries)
{
    for (const Query& query : AllQueries()) {
        for (const int port : {0, kOptical}) {
            char text1[SRCWATCH_TEXT_SIZE];
            char text2[SRCWATCH_TEXT_SIZE];
            int numbers[2];
            bool flag;
            ExpectItPasses(query.name, [&] { query.call(port, {text1, text2, &numbers[0], &numbers[1], &flag}); });
        }
    }
    srcwatch_kpi_info_s infos[8];
    ExpectItPasses("srcwatch_get_device_kpi_info", [&] { srcwatch_get_device_kpi_info(0, infos); });
    ExpectItPasses("srcwatch_get_all_device_kpi_info", [&] { srcwatch_get_all_device_kpi_info(infos); });
}

TEST_F(OtherException, PassesThroughTheUpdates)
{
    ExpectItPasses("srcwatch_set_source_info", [] { srcwatch_set_source_info(0, 0); });
    ExpectItPasses("srcwatch_set_source_info", [] { srcwatch_set_source_info(0, 1); });
    ExpectItPasses("srcwatch_remove_source_info", [] { srcwatch_remove_source_info(0); });
    ExpectItPasses("srcwatch_remove_source_info", [] { srcwatch_remove_source_info(kOptical); });
}

TEST_F(OtherException, PassesThroughTheScanCommandsAndStates)
{
    int number = 0;
    const std::pair<const char*, std::function<void()>> functions[] = {
        {"srcwatch_oobe_scan_start", srcwatch_oobe_scan_start},
        {"srcwatch_oobe_scan_stop", srcwatch_oobe_scan_stop},
        {"srcwatch_oobe_scan_resume", srcwatch_oobe_scan_resume},
        {"srcwatch_optical_scan_start", srcwatch_optical_scan_start},
        {"srcwatch_optical_scan_stop", srcwatch_optical_scan_stop},
        {"srcwatch_set_MBR_download_finished", srcwatch_set_MBR_download_finished},
        {"srcwatch_get_oobe_stb_scan_progress", [&] { srcwatch_get_oobe_stb_scan_progress(&number); }},
        {"srcwatch_is_HotPlug_progress", srcwatch_is_HotPlug_progress},
        {"srcwatch_is_HotPlug_enable", srcwatch_is_HotPlug_enable},
        {"srcwatch_is_MVPD_enable", srcwatch_is_MVPD_enable},
        {"srcwatch_Is_hdmi_notification_running", srcwatch_Is_hdmi_notification_running},
        {"srcwatch_is_no_device", srcwatch_is_no_device},
        {"srcwatch_is_TWC", srcwatch_is_TWC},
        {"srcwatch_TWC_check_start", [] { srcwatch_TWC_check_start(0); }},
        {"srcwatch_TWC_check_end", [] { srcwatch_TWC_check_end(0); }},
        {"srcwatch_TWC_is_channeltuned", [] { srcwatch_TWC_is_channeltuned(1, 2); }},
    };
    for (const auto& [name, function] : functions) {
        ExpectItPasses(name, function);
    }
}

TEST_F(OtherException, PassesThroughTheTableWhenTheLogThrows)
{
    const auto expectItPasses = [](const std::function<void()>& call) {
        bool thrown = false;
        const LogHook hook([&](const LogLine&) {
            if (std::exchange(thrown, true)) return;
            throw std::runtime_error("no log");
        });
        EXPECT_THROW(call(), std::runtime_error);
    };
    expectItPasses([&] { store.GetActivityInfoToStream(value); });
    expectItPasses([&] { store.t_SaveActivityInfoToFile(); });
    expectItPasses([&] { store.t_LoadActivityInfoToMemory(); });
}

}  // namespace
