// SPDX-License-Identifier: Apache-2.0
//
// The functions of srcwatch-host.h for programs that work on every platform: a platform may have them or not, and one
// that it lacks is null. They are looked up when the program starts, so the platform may be replaced until then.
#ifndef SRCWATCH_SETTINGS_OPTIONALPLATFORM_H
#define SRCWATCH_SETTINGS_OPTIONALPLATFORM_H

#include "srcwatch-host.h"

#pragma weak srcwatch_host_watch_setting
#pragma weak srcwatch_host_watch_replacement
#pragma weak srcwatch_host_unwatch_setting
#pragma weak srcwatch_host_list_settings
#pragma weak srcwatch_host_unset
#pragma weak srcwatch_host_check_settings
#pragma weak srcwatch_host_repair_settings
#pragma weak srcwatch_host_back_up_settings
#pragma weak srcwatch_host_restore_settings
#pragma weak srcwatch_host_copy_path
#pragma weak srcwatch_host_examine
#pragma weak srcwatch_host_set_connected
#pragma weak srcwatch_host_conf_path

namespace srcwatch {

/// Returns true if the platform reports the writes of settings. Without, nobody hears commands.
inline bool ReportsWrites()
{
    return srcwatch_host_watch_setting != nullptr && srcwatch_host_unwatch_setting != nullptr;
}

/// Returns true if the reads of settings return why they fail. Without, what is not read is absent.
inline bool SaysWhyReadsFail() { return srcwatch_host_check_settings != nullptr; }

}  // namespace srcwatch

#endif
