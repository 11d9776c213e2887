// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "Evidence.h"
#include "Log.h"
#include "QDInfoCommon.h"
#include "StoredValues.h"

#include <vconf.h>

namespace srcwatch {

void WriteNumber(const std::string& key, int value)
{
    if (vconf_set_int(key.c_str(), value) != 0) SWLOG(DLOG_ERROR, "%s could not be written", key.c_str());
}

void WriteText(const std::string& key, const std::string& text)
{
    if (vconf_set_str(key.c_str(), text.c_str()) != 0) SWLOG(DLOG_ERROR, "%s could not be written", key.c_str());
}

std::string FaultOf(const Inspection& inspection)
{
    return inspection.IsReadable() ? "" : Printable(inspection.FirstUnreadable()->Text());
}

StoredDocument LoadDocument(const std::string& key, StoredKind kind)
{
    const std::optional<std::string> text = ReadText(key);
    if (!text) return {};
    const JsonText json(*text);
    const std::string fault = FaultOf(Inspect(json, kind));
    if (fault.empty()) return {json.Root()};
    return {std::nullopt, true, KeepUnreadable(key, *text, fault)};
}

bool KeepUnreadable(const std::string& key, const std::string& text, const std::string& reason)
{
    const std::string place = key + ".unreadable";
    if (vconf_set_str(place.c_str(), text.c_str()) != 0) {
        SWLOG(DLOG_ERROR, "%s is unreadable (%s), and cannot be kept as %s", key.c_str(), reason.c_str(),
              place.c_str());
        return false;
    }
    SWLOG(DLOG_ERROR, "%s is unreadable (%s); the text is kept as %s", key.c_str(), reason.c_str(), place.c_str());
    return true;
}

Statistics LoadStatistics()
{
    const StoredDocument document = LoadDocument(VCONF_SPD_AKSV_1, StoredKind::kStatistics);
    if (document.root) return Statistics(*document.root);
    if (document.isUnreadable) SaveStatistics({});  // also if they are not kept, because statistics may be lost
    return {};
}

void SaveStatistics(const Statistics& statistics) { WriteText(VCONF_SPD_AKSV_1, statistics.Text()); }

}  // namespace srcwatch
