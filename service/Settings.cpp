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

StoredDocument LoadDocument(const std::string& key, StoredKind kind)
{
    const std::optional<std::string> text = ReadText(key);
    if (!text) return {};
    const JsonText json(*text);
    const Inspection inspection = Inspect(json, kind);
    if (inspection.IsReadable()) return {json.Root()};
    const std::string copy = key + ".unreadable";
    const bool isKept = vconf_set_str(copy.c_str(), text->c_str()) == 0;
    SWLOG(DLOG_ERROR, "%s is unreadable (%s); the text %s as %s", key.c_str(),
          Printable(inspection.FirstUnreadable()->Text()).c_str(), isKept ? "is kept" : "cannot be kept", copy.c_str());
    return {std::nullopt, true, isKept};
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
