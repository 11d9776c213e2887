// SPDX-License-Identifier: Apache-2.0
#include "Recorder.h"

#include "Bus.h"
#include "EntryForm.h"
#include "Failure.h"
#include "Hex.h"
#include "Note.h"
#include "srcwatch-version.h"

#include <filesystem>
#include <utility>

#include <system_info.h>

namespace ctl {

namespace {

constexpr int kLastRounds = 100;

Json::Value SettingToJson(const srcwatch_host_value* value)
{
    if (value == nullptr) return {};
    Json::Value json;
    if (value->unread != 0) {
        json["unread"] = Json::Value::UInt64(value->unread);
    } else if (value->text == nullptr) {
        json = value->number;
    } else if (g_utf8_validate(value->text, -1, nullptr) != FALSE) {
        json = value->text;
    } else {
        const std::string text = value->text;
        json["hex"] = srcwatch::ToHex({text.begin(), text.end()});
    }
    return json;
}

Json::Value AllSettings()
{
    Json::Value settings(Json::objectValue);
    const auto add = [](const char* key, const srcwatch_host_value* value, void* all) {
        (*static_cast<Json::Value*>(all))[key] = SettingToJson(value);
    };
    ListSettings(add, &settings);
    return settings;
}

// Null if it is not known.
Json::Value HdmiInputs()
{
    int count = 0;
    return system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count) == 0 ? Json::Value(count) : Json::Value();
}

}  // namespace

// The bus comes behind the settings, so that what was written before an event is recorded before it.
Recorder::Recorder(const RecordOptions& options, AksvHider& hider)
    : m_options(options),
      m_writer(options.file, hider),
      m_settings(std::make_unique<SettingsWatch>(nullptr, OnSetting, this)),
      m_replacement(srcwatch_host_watch_replacement != nullptr ? srcwatch_host_watch_replacement(OnReplaced, this) : 0)
{
    WatchInputs();
    const auto onMessage = [this](GDBusMessage* message) {
        Guard([&] {
            if (std::optional<Json::Value> entry = m_messages.EntryOf(message)) Add(std::move(*entry));
        });
    };
    const auto onClosed = [this] {
        Guard([] { throw Failure("the connection to the system bus is lost; what was recorded is there"); });
    };
    m_listener = std::make_unique<BusListener>(onMessage, onClosed);
    if (!HasCalls()) Note("calls are not recorded, as the bus shows them to root only: " + m_listener->WhyNoCalls());
    TakeSnapshot();
    m_isBegun = true;
    m_writer.Flush();
}

Recorder::~Recorder()
{
    srcwatch_host_unwatch_setting(m_replacement);
    if (m_idle != 0) g_source_remove(m_idle);
}

// From no callback may an exception leave through C code. The first one ends the recording.
void Recorder::Guard(const std::function<void()>& body)
{
    if (m_failure) return;
    try {
        body();
    } catch (...) {
        m_failure = std::current_exception();
        m_loop.Quit();
    }
}

void Recorder::WatchInputs()
{
    std::error_code error;
    if (!std::filesystem::is_directory(m_options.inputs, error)) {
        return Note("inputs are not recorded: no such inputs directory: " + m_options.inputs);
    }
    m_inputs =
        std::make_unique<InputsWatch>(srcwatch::InputsDirectory(m_options.inputs), [this](const Json::Value& input) {
            Json::Value entry = input;
            entry["kind"] = "input";
            Guard([&] { Add(std::move(entry)); });
        });
}

void Recorder::TakeSnapshot()
{
    Json::Value entry;
    entry["version"] = srcwatch::kRecordingVersion;
    entry["program"] = "srcwatchctl " SRCWATCH_VERSION;
    entry["hdmi_inputs"] = HdmiInputs();
    entry["settings"] = AllSettings();
    if (m_inputs) entry["inputs"] = m_inputs->Plugged();
    entry["calls"] = HasCalls();
    entry["kind"] = "snapshot";
    m_writer.Write(std::move(entry));
    FlushWhenIdle();
}

// Until there is a snapshot, that is where everything goes; and behind the last entry that is wanted there is none.
void Recorder::Add(Json::Value entry)
{
    if (!m_isBegun || (m_options.count != 0 && m_writer.Count() > m_options.count)) return;
    m_writer.Write(std::move(entry));
    FlushWhenIdle();
    if (m_options.count != 0 && m_writer.Count() > m_options.count) m_loop.Quit();
}

void Recorder::FlushWhenIdle()
{
    if (m_idle == 0) m_idle = g_idle_add(OnIdle, this);
}

gboolean Recorder::OnIdle(void* self)
{
    auto& recorder = *static_cast<Recorder*>(self);
    recorder.m_idle = 0;
    recorder.Guard([&] { recorder.m_writer.Flush(); });
    return G_SOURCE_REMOVE;
}

void Recorder::OnSetting(const char* key, const srcwatch_host_value* value, void* self)
{
    auto& recorder = *static_cast<Recorder*>(self);
    recorder.Guard([&] {
        Json::Value entry;
        entry["kind"] = "setting";
        entry["key"] = key;
        entry["value"] = SettingToJson(value);
        recorder.Add(std::move(entry));
    });
}

// Another database has other settings, of which writes say nothing.
void Recorder::OnReplaced(void* self)
{
    auto& recorder = *static_cast<Recorder*>(self);
    recorder.Guard([&] {
        if (recorder.m_isBegun) recorder.TakeSnapshot();
    });
}

void Recorder::Run()
{
    // Any end but a failure is as it was asked for.
    static_cast<void>(m_loop.Run(m_options.seconds));
    // What has arrived by then is recorded too.
    for (int i = 0; i < kLastRounds && !m_failure && g_main_context_iteration(nullptr, FALSE) != FALSE; ++i) {
    }
    if (m_failure) std::rethrow_exception(m_failure);
    m_writer.Flush();
}

}  // namespace ctl
