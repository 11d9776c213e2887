// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "Log.h"

#include <cstdlib>
#include <memory>

#include <vconf.h>

namespace srcwatch {

std::optional<std::string> ReadSetting(const std::string& key)
{
    const std::unique_ptr<char, decltype(&std::free)> text(vconf_get_str(key.c_str()), &std::free);
    if (!text) return std::nullopt;
    return std::string(text.get());
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
