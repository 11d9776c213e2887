// SPDX-License-Identifier: Apache-2.0
//
// The report on a fault, which srcwatchctl makes.
#ifndef SRCWATCH_PANEL_REPORT_H
#define SRCWATCH_PANEL_REPORT_H

#include "Router.h"
#include "Tool.h"

#include <string>
#include <vector>

namespace panel {

class Report {
public:
    /// @param log  Log file to pack; empty for that of SRCWATCH_LOG.
    Report(const Tool& tool, std::string inputs, std::string log)
        : m_tool(tool), m_inputs(std::move(inputs)), m_log(std::move(log))
    {
    }
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;
    ~Report() { Remove(); }

    /// Adds the routes to it.
    void AddTo(Routes& routes);

private:
    void Make(const Answer& answer);
    void Send(const std::string& errors);
    void Remove();

    const Tool& m_tool;
    const std::string m_inputs;
    const std::string m_log;
    std::string m_directory;  // of the report that is made
    Answer m_answer;
    Tool::Run m_run;
};

}  // namespace panel

#endif
