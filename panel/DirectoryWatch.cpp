// SPDX-License-Identifier: Apache-2.0
#include "DirectoryWatch.h"

namespace panel {

DirectoryWatch::DirectoryWatch(const std::string& path, std::function<void()> onChange)
    : m_onChange(std::move(onChange))
{
    const srcwatch::Handle<GFile, g_object_unref> file(g_file_new_for_path(path.c_str()));
    m_monitor.reset(g_file_monitor(file.get(), G_FILE_MONITOR_WATCH_MOVES, nullptr, nullptr));
    if (!m_monitor) return;  // what cannot be watched does not change here
    g_file_monitor_set_rate_limit(m_monitor.get(), 0);
    g_signal_connect(m_monitor.get(), "changed", G_CALLBACK(OnChange), this);
}

DirectoryWatch::~DirectoryWatch()
{
    if (m_monitor) g_signal_handlers_disconnect_by_data(m_monitor.get(), this);
}

void DirectoryWatch::OnChange(GFileMonitor* /*monitor*/, GFile* /*file*/, GFile* /*other*/, GFileMonitorEvent /*event*/,
                              void* self)
{
    static_cast<DirectoryWatch*>(self)->m_onChange();
}

}  // namespace panel
