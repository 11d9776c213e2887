// SPDX-License-Identifier: Apache-2.0
//
// The store: JSON documents in the settings store, in and out of the table of records. Nothing is cached.
#include "QDInfoServerData.h"

#include "Handle.h"
#include "LineFormat.h"
#include "QDInfoEventManager.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>
#include <utility>

#include <glib.h>
#include <json/json.h>
#include <vconf.h>

namespace qdinfo {

template class CSingleton<CQDInfoServerData>;

namespace {

constexpr long kRecordsSaved = SRCWATCH_EVENT_RECORDS_SAVED;

using Text = srcwatch::Handle<char, std::free>;

Text ReadText(const char* key) { return Text(vconf_get_str(key)); }

// One reader per thread, as making one costs as much as parsing a record. A GPrivate, unlike a thread_local, is still
// there for a query from a static destructor of the host.
Json::CharReader& ThreadReader()
{
    static GPrivate readers = G_PRIVATE_INIT([](gpointer reader) { delete static_cast<Json::CharReader*>(reader); });
    auto* reader = static_cast<Json::CharReader*>(g_private_get(&readers));
    if (reader == nullptr) {
        reader = Json::CharReaderBuilder().newCharReader();
        g_private_set(&readers, reader);
    }
    return *reader;
}

bool Parse(Text text, Json::Value& root)
{
    std::string errors;  // the reasons are not used
    return ThreadReader().parse(text.get(), text.get() + std::strlen(text.get()), &root, &errors);
}

// Reads and parses an activity document; logs its text, or that there is none.
bool LoadActivityDocument(const char* key, Json::Value& root, CallSite site = CallSite::Here())
{
    Text text = ReadText(key);
    if (!text) {
        QDLOG_AT(site, QDLOG_ERROR, "get %s failed!", key);
        return false;
    }
    QDLOG_AT(site, QDLOG_DEBUG, " get %s succeed! <%s>", key, text.get());
    return Parse(std::move(text), root);
}

// Reads the list of statistics entries; silently false when there is none.
bool LoadStatistics(Json::Value& list)
{
    Text text = ReadText(kStatisticsKey);
    Json::Value root;
    if (!text || !Parse(std::move(text), root)) return false;
    list = std::move(root["Auto"]);
    return !list.isNull();
}

int PortOf(const Json::Value& entry) { return entry.get("port", -1).asInt(); }

bool IsWorthTaking(const Json::Value& entry)
{
    constexpr int kNoPriority = 10;
    return entry.get("pri", kNoPriority).asInt() < kNoPriority;
}

// Writes a document as text. Returns false if memory ran out, which the stream does not report.
bool Write(const Json::Value& root, std::string& text)
{
    static const Json::StreamWriterBuilder& builder = *new Json::StreamWriterBuilder;  // outlives static destructors
    const std::unique_ptr<Json::StreamWriter> writer(builder.newStreamWriter());
    std::ostringstream stream;
    writer->write(root, &stream);
    text = stream.str();
    return stream.good();
}

}  // namespace

CQDInfoServerData::CQDInfoServerData() = default;
CQDInfoServerData::~CQDInfoServerData() = default;

bool CQDInfoServerData::t_Initialize() { return t_LoadActivityInfoToMemory(); }

void CQDInfoServerData::t_UnInitialize() {}

void CQDInfoServerData::t_CheckAndSaveActivity(int port)
{
    if (port != OPTICAL_PORT) t_SaveActivityInfoToFile();  // Deliberate: a failed save is announced all the same.
    CQDEventSender sender(kChannelName);
    sender.SendEvent(kRecordsSaved);
}

void CQDInfoServerData::t_CheckAndSaveActivityWithNotify(int port)
{
    CQDInfoServerData::t_CheckAndSaveActivity(port);  // Deliberate: both announce.
}

bool CQDInfoServerData::t_LoadActivityInfoToMemory()
{
    try {
        Json::Value root;
        if (!LoadActivityDocument(kSourceActivityKey, root)) return false;
        if (SetActivityInfoFromStream(root)) return true;
        QDLOG(QDLOG_ERROR, " load to file error");
        return false;
    } catch (const Json::Exception& e) {
        QDLOG(QDLOG_ERROR, "Exception Handled by t_LoadActivityInfoToMemory: %s", e.what());
        return false;
    }
}

bool CQDInfoServerData::t_LoadPortJsonInfoToMemory(int port, Json::Value& out)
{
    try {
        Json::Value root;
        if (!LoadActivityDocument(kSourceActivityKey, root)) return false;
        out = std::move(root["activity"][port]);
        return true;
    } catch (const Json::Exception& e) {
        // Deliberate: the text names the loader of the whole table.
        QDLOG(QDLOG_ERROR, "Exception Handled by t_LoadActivityInfoToMemory: %s", e.what());
        return false;
    }
}

bool CQDInfoServerData::t_LoadOpticalPortJsonInfoToMemory(int, Json::Value& out)
{
    try {
        Json::Value root;
        if (!LoadActivityDocument(kOpticalActivityKey, root)) return false;
        out = std::move(root["activity"]);
        return true;
    } catch (const Json::Exception& e) {
        QDLOG(QDLOG_ERROR, "Exception Handled by t_LoadOpticalPortJsonInfoToMemory: %s", e.what());
        return false;
    }
}

bool CQDInfoServerData::t_LoadPortJsonKPIInfoToMemory(int port, Json::Value& out)
{
    try {
        Json::Value list;
        if (!LoadStatistics(list)) return false;
        for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
            Json::Value& entry = list[i];  // throws when the list is an object, where a range would visit its members
            if (entry.isNull()) continue;
            if (PortOf(entry) == port && IsWorthTaking(entry)) out = std::move(entry);  // the last one wins
        }
        return true;
    } catch (const Json::Exception& e) {
        QDLOG(QDLOG_ERROR, "Exception Handled by t_LoadPortJsonKPIInfoToMemory: %s", e.what());
        return false;
    }
}

bool CQDInfoServerData::t_LoadAllJsonKPIInfoToMemory(Json::Value* out)
{
    try {
        Json::Value list;
        if (!LoadStatistics(list)) return false;
        for (Json::ArrayIndex i = 0; i < list.size(); ++i) {
            Json::Value& entry = list[i];
            if (entry.isNull()) continue;
            const int port = PortOf(entry);
            if (port >= 0 && port < HDMI_PORT_COUNT && IsWorthTaking(entry)) out[port] = std::move(entry);
        }
        return true;
    } catch (const Json::Exception& e) {
        QDLOG(QDLOG_ERROR, "Exception Handled by t_LoadAllJsonKPIInfoToMemory: %s", e.what());
        return false;
    }
}

bool CQDInfoServerData::t_SaveActivityInfoToFile()
{
    try {
        Json::Value root;
        std::string text;
        if (!GetActivityInfoToStream(root) || !Write(root, text)) {
            QDLOG(QDLOG_ERROR, " save to file error");
            return false;
        }
        if (vconf_set_str(kSourceActivityKey, text.c_str()) != 0) {
            // Deliberate: at DEBUG.
            QDLOG(QDLOG_DEBUG, " set %s failed! <%s>", kSourceActivityKey, text.c_str());
            return false;
        }
        QDLOG(QDLOG_DEBUG, " set %s succeed! <%s>", kSourceActivityKey, text.c_str());
        return true;
    } catch (const Json::Exception& e) {
        QDLOG(QDLOG_ERROR, "Exception Handled by t_SaveActivityInfoToFile: %s", e.what());
        return false;
    }
}

}  // namespace qdinfo
