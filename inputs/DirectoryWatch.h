// SPDX-License-Identifier: Apache-2.0
//
// What happens in a directory, as inotify(7) reports it. GFileMonitor conceals that changes were lost.
#ifndef SRCWATCH_INPUTS_DIRECTORYWATCH_H
#define SRCWATCH_INPUTS_DIRECTORYWATCH_H

#include <cstdint>
#include <functional>
#include <string>
#include <system_error>
#include <utility>

#include <glib.h>
#include <sys/inotify.h>

namespace srcwatch {

/// Calls back for each change in a directory, in the default main context.
class DirectoryWatch {
public:
    /// Receives the name of the entry, which is empty for the directory itself, and the bits of inotify.
    using Callback = std::function<void(const std::string& name, std::uint32_t events)>;

    /// The directory is gone, or not at its path any more.
    static constexpr std::uint32_t kGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT;
    /// Anything may have changed.
    static constexpr std::uint32_t kUnknown = kGone | IN_Q_OVERFLOW;

    /// @param callback  May start the watch again and stop it.
    explicit DirectoryWatch(Callback callback) : m_callback(std::move(callback)) {}
    ~DirectoryWatch() { Stop(); }
    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;

    /// Watches this directory instead of the one before.
    std::error_code Start(const std::string& path);
    void Stop();
    bool IsRunning() const { return m_source != 0; }

private:
    static gboolean OnReadable(int descriptor, GIOCondition condition, gpointer self);

    const Callback m_callback;
    int m_descriptor = -1;
    unsigned m_source = 0;
};

}  // namespace srcwatch

#endif
