// SPDX-License-Identifier: Apache-2.0
//
// Calls back when a directory's entries, or a file, have changed.
#ifndef SRCWATCH_PANEL_DIRECTORYWATCH_H
#define SRCWATCH_PANEL_DIRECTORYWATCH_H

#include "Handle.h"

#include <functional>
#include <string>

#include <gio/gio.h>

namespace panel {

class DirectoryWatch {
public:
    /// A path that is not there is watched, too. The callback is called in the main loop, for each change.
    DirectoryWatch(const std::string& path, std::function<void()> onChange);
    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;
    ~DirectoryWatch();

private:
    static void OnChange(GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event, void* self);

    const std::function<void()> m_onChange;
    srcwatch::Handle<GFileMonitor, g_object_unref> m_monitor;
};

}  // namespace panel

#endif
