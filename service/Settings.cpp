// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "Evidence.h"
#include "Log.h"

#include <vconf.h>

namespace srcwatch {

void WriteNumber(const std::string& key, int value)
{
    if (vconf_set_int(key.c_str(), value) != 0) SWLOG(DLOG_ERROR, "%s could not be written", key.c_str());
}

std::string WhatIsWrong(const Inspection& inspection)
{
    return inspection.IsReadable() ? "" : Printable(inspection.FirstUnreadable()->Text());
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

}  // namespace srcwatch
