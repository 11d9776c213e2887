// SPDX-License-Identifier: Apache-2.0
//
// Follows a directory, or one entry of it, whether it is there yet or not.
#ifndef SRCWATCH_PANEL_PATHWATCH_H
#define SRCWATCH_PANEL_PATHWATCH_H

#include "DirectoryWatch.h"
#include "Later.h"

namespace panel {

class PathWatch {
public:
    /// @param onChange  Is called in the main loop when something may have changed.
    /// @param name      Entry that is followed; empty for all.
    PathWatch(std::string directory, std::function<void()> onChange, std::string name = "")
        : m_directory(std::move(directory)),
          m_onChange(std::move(onChange)),
          m_name(std::move(name)),
          m_again(1000,
                  [this] {
                      Start();
                      if (m_watch.IsRunning()) m_onChange();
                  }),
          m_watch([this](const std::string& entry, std::uint32_t events) { HandleChange(entry, events); })
    {
        Start();
    }

private:
    void Start()
    {
        if (m_watch.Start(m_directory)) m_again.Ask();
    }
    void HandleChange(const std::string& entry, std::uint32_t events)
    {
        if ((events & srcwatch::DirectoryWatch::kGone) != 0) Start();
        if (m_name.empty() || entry == m_name || (events & srcwatch::DirectoryWatch::kUnknown) != 0) m_onChange();
    }

    const std::string m_directory;
    const std::function<void()> m_onChange;
    const std::string m_name;
    Later m_again;
    srcwatch::DirectoryWatch m_watch;
};

}  // namespace panel

#endif
