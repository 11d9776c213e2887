// SPDX-License-Identifier: Apache-2.0
#include "StoredStatistics.h"

#include "Log.h"
#include "QDInfoCommon.h"
#include "Settings.h"
#include "StoredValues.h"

#include <vconf.h>

namespace srcwatch {

Statistics LoadStatistics()
{
    const std::optional<std::string> text = ReadText(VCONF_SPD_AKSV_1);
    if (!text) return {};
    const JsonText json(*text);
    const std::string wrong = WhatIsWrong(Inspect(json, StoredKind::kStatistics));
    if (wrong.empty()) return Statistics(json.Root());
    (void)KeepUnreadable(VCONF_SPD_AKSV_1, *text, wrong);  // logged; statistics may go
    SaveStatistics({});
    return {};
}

void SaveStatistics(const Statistics& statistics)
{
    if (vconf_set_str(VCONF_SPD_AKSV_1.c_str(), statistics.Text().c_str()) != 0) {
        SWLOG(DLOG_ERROR, "the detection statistics could not be saved");
    }
}

}  // namespace srcwatch
