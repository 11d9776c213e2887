// SPDX-License-Identifier: Apache-2.0
#include "TvReplay.h"

#include "Failure.h"
#include "Hex.h"
#include "Note.h"
#include "Settings.h"
#include "srcwatch-protocol.h"

#include <cstdlib>
#include <vector>

#include <system_info.h>

namespace ctl {

namespace {

constexpr const char* kOneLine = "; run it in a sandbox: srcwatch-sandbox --no-service -- srcwatchctl replay FILE";

void RequireSandbox()
{
    const char* const directory =
        std::getenv("SRCWATCH_STATE_DIR");  // NOLINT(concurrency-mt-unsafe): is never set here
    if (directory != nullptr && *directory != '\0') return;
    throw Failure(std::string("a replay replaces all settings, and these are the machine's own") + kOneLine);
}

void WriteSetting(const std::string& key, const Json::Value& value)
{
    if (value.isNull()) return RemoveSetting(key);
    if (value.isInt()) return WriteNumber(key, value.asInt());
    if (value.isString()) return WriteText(key, value.asString());
    if (value.isMember("unread")) return Note(key + " was too large to be recorded, and is left as it is");
    const srcwatch::Bytes bytes = srcwatch::FromHex(value["hex"].asString()).value_or(srcwatch::Bytes());
    WriteText(key, {bytes.begin(), bytes.end()});
}

std::vector<std::string> StoredKeys()
{
    std::vector<std::string> keys;
    const auto add = [](const char* key, const srcwatch_host_value* /*value*/, void* all) {
        static_cast<std::vector<std::string>*>(all)->push_back(key);
    };
    ListSettings(add, &keys);
    return keys;
}

}  // namespace

TvReplay::TvReplay()
{
    RequireList();
    RequireRemoval();
    RequireSandbox();
    m_connection = ConnectBus();
    TakeName();
}

TvReplay::~TvReplay()
{
    // The process ends anyway.
    static_cast<void>(g_dbus_connection_flush_sync(m_connection.get(), nullptr, nullptr));
}

void TvReplay::TakeName()
{
    constexpr guint32 kDoNotQueue = 4;
    constexpr guint32 kOwner = 1;
    GError* failure = nullptr;
    const srcwatch::Handle<GVariant, g_variant_unref> reply(g_dbus_connection_call_sync(
        m_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", SRCWATCH_BUS_NAME, kDoNotQueue), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, &failure));
    const srcwatch::Handle<GError, g_error_free> error(failure);
    if (!reply) throw Failure(std::string("the system bus refuses the service's name: ") + error->message);
    guint32 result = 0;
    g_variant_get(reply.get(), "(u)", &result);
    if (result != kOwner) throw Failure(std::string("a detection service, or another replay, runs here") + kOneLine);
}

bool TvReplay::Wants(const Json::Value& entry) const
{
    const Json::Value& kind = entry["kind"];
    return kind == "snapshot" || kind == "setting" || kind == "event";
}

void TvReplay::Apply(const Json::Value& entry)
{
    const Json::Value& kind = entry["kind"];
    if (kind == "snapshot") return Restore(entry);
    if (kind == "event") return Send(entry);
    WriteSetting(entry["key"].asString(), entry["value"]);
}

void TvReplay::Restore(const Json::Value& snapshot)
{
    int count = 0;
    const bool isKnown = system_info_get_value_int(SYSTEM_INFO_KEY_NUM_OF_HDMI, &count) == 0;
    const Json::Value& inputs = snapshot["hdmi_inputs"];
    if (inputs.isInt() && !(isKnown && inputs.asInt() == count)) {
        Note("the recording is of a TV with " + std::to_string(inputs.asInt()) +
             " HDMI input(s), and this one has another number; srcwatch-sandbox --inputs sets it");
    }
    const Json::Value& settings = snapshot["settings"];
    if (settings.isNull()) return;  // they are not known
    for (const std::string& key : StoredKeys()) {
        if (!settings.isMember(key)) RemoveSetting(key);
    }
    for (const std::string& key : settings.getMemberNames()) WriteSetting(key, settings[key]);
}

void TvReplay::Send(const Json::Value& event)
{
    GError* failure = nullptr;
    const std::string message = event["message"].asString();
    const bool isSent =
        g_dbus_connection_emit_signal(m_connection.get(), nullptr, "/org/nalto/tv/qdinfo", SRCWATCH_BUS_NAME, "qdinfo",
                                      g_variant_new("(is)", event["type"].asInt(), message.c_str()), &failure) != FALSE;
    const srcwatch::Handle<GError, g_error_free> error(failure);
    if (!isSent) throw Failure(std::string("cannot send an event: ") + error->message);
}

}  // namespace ctl
