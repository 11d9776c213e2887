// SPDX-License-Identifier: Apache-2.0
//
// The end of a log file, and what is added to it.
#ifndef SRCWATCH_PANEL_LOGTAIL_H
#define SRCWATCH_PANEL_LOGTAIL_H

#include "Later.h"
#include "PathWatch.h"
#include "State.h"

#include <functional>
#include <string>

#include <sys/types.h>

namespace panel {

/// Returns a line of a log, as the host platform writes it, with its priority; an empty one for any other line.
Json::Value DescribeLogLine(const std::string& line);

class LogTail {
public:
    /// @param onChange  Is called when the state has got lines.
    LogTail(std::string path, State& state, std::function<void()> onChange);

private:
    void Read();
    void TakeLines();

    const std::string m_path;
    State& m_state;
    const std::function<void()> m_onChange;
    off_t m_at = -1;  // what was read; -1 for nothing yet
    ino_t m_inode = 0;
    std::string m_rest;  // the begin of a line
    Later m_later;
    PathWatch m_watch;
};

}  // namespace panel

#endif
