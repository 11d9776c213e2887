// SPDX-License-Identifier: Apache-2.0
#include "DirectoryWatch.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <glib-unix.h>
#include <unistd.h>

namespace srcwatch {

namespace {

constexpr std::uint32_t kEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_MODIFY |
                                  IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF;

}  // namespace

// An instance of inotify for each directory has a queue of its own, and two links to one directory do not share a
// watch.
std::error_code DirectoryWatch::Start(const std::string& path)
{
    Stop();
    m_descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_descriptor < 0 || inotify_add_watch(m_descriptor, path.c_str(), kEvents | IN_ONLYDIR) < 0) {
        return {errno, std::generic_category()};
    }
    m_source = g_unix_fd_add(m_descriptor, G_IO_IN, OnReadable, this);
    return {};
}

void DirectoryWatch::Stop()
{
    if (m_source != 0) g_source_remove(std::exchange(m_source, 0));
    if (m_descriptor >= 0) close(std::exchange(m_descriptor, -1));
}

gboolean DirectoryWatch::OnReadable(int descriptor, GIOCondition /*condition*/, gpointer self)
{
    auto* const watch = static_cast<DirectoryWatch*>(self);
    const unsigned source = watch->m_source;
    std::array<char, 4096> events;
    const ssize_t size = read(descriptor, events.data(), events.size());
    for (ssize_t at = 0; at < size && watch->m_source == source;) {
        const char* const position = events.data() + at;
        inotify_event event{};
        std::memcpy(&event, position, sizeof event);
        watch->m_callback(event.len > 0 ? position + sizeof event : "", event.mask);
        at += static_cast<ssize_t>(sizeof event + event.len);
    }
    return G_SOURCE_CONTINUE;
}

}  // namespace srcwatch
