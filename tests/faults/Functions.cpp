// SPDX-License-Identifier: Apache-2.0
#include "Functions.h"

#include "QDInfoAPI.h"
#include "QDInfoActivityInfo.h"
#include "QDInfoEventManager.h"
#include "QDInfoServerData.h"
#include "QDInfoSettingUtil.h"
#include "Records.h"

#include <sstream>

namespace srcwatch_test {

namespace {

using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;
using qdinfo::CQDInfoActivityInfo;
using qdinfo::CQDInfoAPI;
using qdinfo::CQDInfoData;
using qdinfo::CQDInfoServerData;
using Singleton = qdinfo::CSingleton<CQDInfoServerData>;

constexpr int kPort = 1;
constexpr int kNewGeneration = 2;
constexpr char kLongText[] = "a text that is too long to be kept in place";

CQDInfoServerData& Store() { return *Singleton::GetInstance(); }

// The table of the store holds other records than the settings do.
void GivenNewRecords()
{
    Store().t_LoadActivityInfoToMemory();
    FillRecords(Store(), kNewGeneration);
}

void GivenService() { static_cast<void>(CQDInfoAPI::Create(true)); }

void EndService()
{
    CQDInfoAPI::Destroy();
    static_cast<void>(CQDInfoAPI::Create(false));
}

std::unique_ptr<CQDInfoActivityInfo> g_record;
std::unique_ptr<CQDInfoData> g_table;
Json::Value g_root;

void GivenRecord() { g_record = std::make_unique<CQDInfoActivityInfo>(); }

void GivenFullTable()
{
    g_table = std::make_unique<CQDInfoData>();
    g_table->CreateAndAddNewActivity();
    FillRecords(*g_table, kNewGeneration);
    g_table->SetBrandName(kLongText, 99);
}

void GivenDocument()
{
    g_table = std::make_unique<CQDInfoData>();
    GivenRecord();
    std::istringstream stream(DocumentOf(kNewGeneration));
    std::string errors;
    g_root.clear();
    static_cast<void>(Json::parseFromStream(Json::CharReaderBuilder(), stream, &g_root, &errors));
}

void ForgetMembers()
{
    g_record.reset();
    g_table.reset();
    g_root = Json::Value();
}

template <typename Getter>
void CallText(Result& result, Getter get)
{
    result.number = get(result.text1, kPort);
}

void OnEvent(void*, srcwatch_event_s*) {}

void Unregister() { static_cast<void>(srcwatch_unregister_event_callback(&OnEvent)); }

std::unique_ptr<CQDEventSender> g_sender;
std::unique_ptr<CQDEventReciever> g_receiver;

void GivenSender() { g_sender = std::make_unique<CQDEventSender>("qdinfo"); }
void EndSender() { g_sender.reset(); }
void EndReceiver() { g_receiver.reset(); }

const std::vector<Function> kSettingsFunctions = {
    {"srcwatch_get_cec_name", [](Result& r) { CallText(r, srcwatch_get_cec_name); }},
    {"srcwatch_get_model_name", [](Result& r) { CallText(r, srcwatch_get_model_name); }},
    {"srcwatch_get_manufacturer_name", [](Result& r) { CallText(r, srcwatch_get_manufacturer_name); }},
    {"srcwatch_get_codeset_name", [](Result& r) { CallText(r, srcwatch_get_codeset_name); }},
    {"srcwatch_get_logo_mso_name", [](Result& r) { CallText(r, srcwatch_get_logo_mso_name); }},
    {"srcwatch_get_cec_device_name", [](Result& r) { CallText(r, srcwatch_get_cec_device_name); }},
    {"srcwatch_get_aksv_info", [](Result& r) { CallText(r, srcwatch_get_aksv_info); }},
    {"srcwatch_get_result_str1_name", [](Result& r) { CallText(r, srcwatch_get_result_str1_name); }},
    {"srcwatch_get_result_str2_name", [](Result& r) { CallText(r, srcwatch_get_result_str2_name); }},
    {"srcwatch_get_product_type_name", [](Result& r) { r.number = srcwatch_get_product_type_name(99, &r.number1); }},
    {"srcwatch_get_denycount", [](Result& r) { r.number = srcwatch_get_denycount(&r.number1, kPort); }},
    {"srcwatch_get_detection_moethod", [](Result& r) { r.number = srcwatch_get_detection_moethod(kPort, &r.number1); }},
    {"srcwatch_get_oobe_scan_state", [](Result& r) { r.number = srcwatch_get_oobe_scan_state(kPort, &r.number1); }},
    {"srcwatch_get_changed_device_info",
     [](Result& r) { r.number = srcwatch_get_changed_device_info(kPort, &r.number1, &r.flag); }},
    {"srcwatch_get_current_aksv_info", [](Result& r) { r.number = srcwatch_get_current_aksv_info(); }},
    {"srcwatch_get_device_info",
     [](Result& r) { r.number = srcwatch_get_device_info(kPort, &r.number1, r.text1, r.text2); }},
    {"srcwatch_get_codeset_info", [](Result& r) { r.number = srcwatch_get_codeset_info(kPort, &r.flag, r.text1); }},
    {"srcwatch_get_device_kpi_info", [](Result& r) { r.number = srcwatch_get_device_kpi_info(kPort, r.infos); }},
    {"srcwatch_get_all_device_kpi_info", [](Result& r) { r.number = srcwatch_get_all_device_kpi_info(r.infos); }},
    {"srcwatch_oobe_scan_start", [](Result&) { srcwatch_oobe_scan_start(); }},
    {"srcwatch_oobe_scan_stop", [](Result&) { srcwatch_oobe_scan_stop(); }},
    {"srcwatch_oobe_scan_resume", [](Result&) { srcwatch_oobe_scan_resume(); }},
    {"srcwatch_optical_scan_start", [](Result&) { srcwatch_optical_scan_start(); }},
    {"srcwatch_optical_scan_stop", [](Result&) { srcwatch_optical_scan_stop(); }},
    {"srcwatch_set_MBR_download_finished", [](Result&) { srcwatch_set_MBR_download_finished(); }},
    {"srcwatch_get_oobe_stb_scan_progress",
     [](Result& r) { r.number = srcwatch_get_oobe_stb_scan_progress(&r.number1); }},
    {"srcwatch_set_optical_scan_state", [](Result&) { srcwatch_set_optical_scan_state(1); }},
    {"srcwatch_is_optical_scan", [](Result& r) { r.number = srcwatch_is_optical_scan(&r.flag); }},
    {"srcwatch_set_running_scan_type", [](Result&) { srcwatch_set_running_scan_type(2); }},
    {"srcwatch_get_running_scan_type", [](Result& r) { r.number = srcwatch_get_running_scan_type(&r.number1); }},
    {"srcwatch_is_HotPlug_progress", [](Result& r) { r.flag = srcwatch_is_HotPlug_progress(); }},
    {"srcwatch_is_HotPlug_enable", [](Result& r) { r.flag = srcwatch_is_HotPlug_enable(); }},
    {"srcwatch_is_MVPD_enable", [](Result& r) { r.flag = srcwatch_is_MVPD_enable(); }},
    {"srcwatch_Is_hdmi_notification_running", [](Result& r) { r.flag = srcwatch_Is_hdmi_notification_running(); }},
    {"srcwatch_is_TWC", [](Result& r) { r.number = srcwatch_is_TWC(); }},
    {"srcwatch_TWC_check_start", [](Result&) { srcwatch_TWC_check_start(kPort); }},
    {"srcwatch_TWC_check_end", [](Result&) { srcwatch_TWC_check_end(kPort); }},
    {"srcwatch_TWC_is_channeltuned", [](Result&) { srcwatch_TWC_is_channeltuned(5, 6); }},

    {"CQDInfoActivityInfo::Read", [](Result& r) { r.flag = g_record->Read(g_root["activity"][1]); }, GivenDocument,
     ForgetMembers},
    {"CQDInfoActivityInfo::Write", [](Result& r) { r.flag = g_record->Write(r.json); }, GivenRecord, ForgetMembers},
    {"CQDInfoActivityInfo::SetBrandName",
     [](Result& r) {
         g_record->SetBrandName(kLongText);
         CQDInfoActivityInfo copy = *g_record;
         r.string1 = copy.GetBrandName();
     },
     GivenRecord, ForgetMembers},
    {"CQDInfoData::CreateAndAddNewActivity", [](Result& r) { r.flag = CQDInfoData().CreateAndAddNewActivity(); }},
    {"CQDInfoData::Set...",
     [](Result& r) {
         FillRecords(*g_table, kNewGeneration + 1);
         r.string1 = g_table->GetModelName(kPort);
     },
     GivenFullTable, ForgetMembers},
    {"CQDInfoData::ResetSourceInfo", [](Result&) { g_table->ResetSourceInfo(kPort); }, GivenFullTable, ForgetMembers},
    {"CQDInfoData::GetActivityInfoToStream", [](Result& r) { r.flag = g_table->GetActivityInfoToStream(r.json); },
     GivenFullTable, ForgetMembers},
    {"CQDInfoData::GetOpticalActivityInfoToStream",
     [](Result& r) { r.flag = g_table->GetOpticalActivityInfoToStream(r.json); }, GivenFullTable, ForgetMembers},
    {"CQDInfoData::SetActivityInfoFromStream", [](Result& r) { r.flag = g_table->SetActivityInfoFromStream(g_root); },
     GivenDocument, ForgetMembers},
    {"CQDInfoServerData::t_Initialize", [](Result& r) { r.flag = Store().t_Initialize(); }},
    {"CQDInfoServerData::t_LoadActivityInfoToMemory", [](Result& r) { r.flag = Store().t_LoadActivityInfoToMemory(); }},
    {"CQDInfoServerData::t_LoadPortJsonInfoToMemory",
     [](Result& r) { r.flag = Store().t_LoadPortJsonInfoToMemory(kPort, r.json); }},
    {"CQDInfoServerData::t_LoadOpticalPortJsonInfoToMemory",
     [](Result& r) { r.flag = Store().t_LoadOpticalPortJsonInfoToMemory(99, r.json); }},
    {"CQDInfoServerData::t_LoadPortJsonKPIInfoToMemory",
     [](Result& r) { r.flag = Store().t_LoadPortJsonKPIInfoToMemory(kPort, r.json); }},
    {"CQDInfoServerData::t_LoadAllJsonKPIInfoToMemory",
     [](Result& r) { r.flag = Store().t_LoadAllJsonKPIInfoToMemory(r.jsons); }},
    {"CQDInfoServerData::t_SaveActivityInfoToFile", [](Result& r) { r.flag = Store().t_SaveActivityInfoToFile(); },
     GivenNewRecords},
    {"CQDInfoAPI::Create, GetQDInfoUtil, Destroy",
     [](Result& r) {
         r.flag = CQDInfoAPI::Create(true);
         r.number = CQDInfoAPI::GetQDInfoUtil() != nullptr ? 1 : 0;
         CQDInfoAPI::Destroy();
     },
     nullptr, EndService},
    {"CQDInfoSettingUtil::GetQDInfoActivityIndex",
     [](Result& r) { r.number = CQDInfoSettingUtil::GetQDInfoActivityIndex(); }},
    {"CQDInfoSettingUtil::SetQDInfoActivityIndex", [](Result&) { CQDInfoSettingUtil::SetQDInfoActivityIndex(7); }},
    {"CQDInfoSettingUtil::GetQDInfoMode", [](Result& r) { r.number = CQDInfoSettingUtil::GetQDInfoMode(); }},
    {"CQDInfoSettingUtil::SetQDInfoMode", [](Result&) { CQDInfoSettingUtil::SetQDInfoMode(3); }},
    {"CQDInfoSettingUtil::GetQDInfoActivateData",
     [](Result& r) { r.flag = CQDInfoSettingUtil::GetQDInfoActivateData(r.number1, r.string1, r.string2, r.string3); }},
    {"CQDInfoSettingUtil::SetQDInfoActivateData",
     [](Result&) { CQDInfoSettingUtil::SetQDInfoActivateData(4, kLongText, kLongText, kLongText); }},
};

const std::vector<Function> kGlibFunctions = {
    {"get_hdmi_count", [](Result& r) { r.number = get_hdmi_count(); }},
    {"srcwatch_is_no_device", [](Result& r) { r.flag = srcwatch_is_no_device(); }},
    {"srcwatch_set_source_info", [](Result&) { srcwatch_set_source_info(kPort, 0); }, GivenNewRecords},
    {"srcwatch_remove_source_info", [](Result&) { srcwatch_remove_source_info(kPort); }, GivenService, EndService},
    {"CQDInfoServerData::t_CheckAndSaveActivity", [](Result&) { Store().t_CheckAndSaveActivity(kPort); },
     GivenNewRecords},
    {"CQDInfoServerData::t_CheckAndSaveActivityWithNotify",
     [](Result&) { Store().t_CheckAndSaveActivityWithNotify(kPort); }, GivenNewRecords},
    {"srcwatch_register_event_callback",
     [](Result& r) { r.number = srcwatch_register_event_callback(&OnEvent, nullptr); }, nullptr, Unregister},
    {"srcwatch_unregister_event_callback", [](Result& r) { r.number = srcwatch_unregister_event_callback(&OnEvent); },
     [] { static_cast<void>(srcwatch_register_event_callback(&OnEvent, nullptr)); }, Unregister},
    {"CQDEventSender::SendEvent", [](Result&) { g_sender->SendEvent(4097, 1, 2, 3); }, GivenSender, EndSender},
    {"CQDEventSender::SendSignal",
     [](Result& r) { r.number = g_sender->SendSignal(4097, std::stringstream(kLongText)); }, GivenSender, EndSender},
    {"CQDEventSender::Call",
     [](Result& r) {
         std::stringstream reply;
         r.number = g_sender->Call(4097, std::stringstream(kLongText), reply);
     },
     GivenSender, EndSender},
    {"CQDEventSender::IsServiceAvailable", [](Result& r) { r.number = g_sender->IsServiceAvailable(); }, GivenSender,
     EndSender},
    {"CQDEventReciever as a client",
     [](Result&) {
         g_receiver = std::make_unique<CQDEventReciever>("qdinfo", false);
         g_receiver->RegisterEventCallback(4097, &OnEvent, nullptr);
     },
     nullptr, EndReceiver},
    {"CQDEventReciever as the service",
     [](Result&) { g_receiver = std::make_unique<CQDEventReciever>("qdinfo", true); }, nullptr, EndReceiver},
};

}  // namespace

std::string Describe(const Result& result)
{
    std::ostringstream text;
    text << result.number << ' ' << result.number1 << ' ' << result.number2 << ' ' << result.flag << " '"
         << result.text1 << "' '" << result.text2 << "' '" << result.string1 << "' '" << result.string2 << "' '"
         << result.string3 << "' " << result.json;
    for (const Json::Value& json : result.jsons) text << ' ' << json;
    for (const srcwatch_kpi_info_s& info : result.infos) {
        text << ' ' << info.hdmi_no << ' ' << info.t << ' ' << info.spd_vendor << ' ' << info.spd_product << ' '
             << info.result_first;
    }
    return text.str();
}

const std::vector<Function>& SettingsFunctions() { return kSettingsFunctions; }

const std::vector<Function>& GlibFunctions() { return kGlibFunctions; }

}  // namespace srcwatch_test
