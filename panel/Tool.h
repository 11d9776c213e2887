// SPDX-License-Identifier: Apache-2.0
//
// srcwatchctl, which makes recordings and reports.
#ifndef SRCWATCH_PANEL_TOOL_H
#define SRCWATCH_PANEL_TOOL_H

#include "Handle.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace panel {

class Tool {
public:
    /// A run of the tool, which ends as after Ctrl-C when it is destroyed. It says what went wrong, or nothing.
    class Process;
    using Run = std::unique_ptr<Process>;
    using Callback = std::function<void(const std::string& errors)>;

    /// Finds the program: beside this one, in the build tree, or by PATH.
    Tool();

    bool IsThere() const { return !m_path.empty(); }

    /// Starts it. @param onEnd  Is called in the main loop when it has ended, unless the run is destroyed before.
    Run Start(const std::vector<std::string>& arguments, Callback onEnd) const;

    class Process {
    public:
        Process(const std::vector<std::string>& command, Callback onEnd);
        Process(const Process&) = delete;
        Process& operator=(const Process&) = delete;
        ~Process();

        /// Has it end, as Ctrl-C does.
        void Interrupt();

    private:
        static void OnEnd(GObject* process, GAsyncResult* result, void* self);

        const Callback m_onEnd;
        const srcwatch::Handle<GCancellable, g_object_unref> m_cancellable;
        srcwatch::Handle<GSubprocess, g_object_unref> m_process;
    };

private:
    std::string m_path;
};

}  // namespace panel

#endif
