// SPDX-License-Identifier: Apache-2.0
//
// The whole program but its command line: what follows the TV, what answers pages, and what connects the two.
#ifndef SRCWATCH_PANEL_PANEL_H
#define SRCWATCH_PANEL_PANEL_H

#include "Inputs.h"
#include "KnownDevices.h"
#include "LogTail.h"
#include "Recordings.h"
#include "Report.h"
#include "Server.h"
#include "ServiceCalls.h"
#include "State.h"
#include "Streams.h"
#include "Watch.h"

#include <memory>
#include <string>
#include <vector>

namespace panel {

struct Options {
    std::string inputs;
    std::string captures;
    std::vector<std::string> profiles;
    std::string log;         ///< to show; empty for none
    std::string recordings;  ///< directory; empty for none
    Listen listen;
    bool isReadOnly = false;
    std::string token;
};

class Panel {
public:
    explicit Panel(const Options& options);
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;
    ~Panel();

    /// Begins to listen. @return Why it cannot; empty if it does.
    std::string Open();

    /// Returns the address to open in a browser.
    std::string Address() const;

private:
    static gboolean OnTime(void* self);
    Json::Value Snapshot();
    void Publish();
    Routes MakeRoutes();

    const Options m_options;
    const Inputs m_inputs;
    KnownDevices m_devices;
    State m_state;
    Streams m_streams;
    ServiceCalls m_calls;
    std::unique_ptr<Watch> m_watch;
    std::unique_ptr<LogTail> m_log;
    const Tool m_tool;
    std::unique_ptr<Recordings> m_recordings;
    Report m_report;
    std::unique_ptr<Router> m_router;
    unsigned m_timer = 0;
    Server m_server;
};

}  // namespace panel

#endif
