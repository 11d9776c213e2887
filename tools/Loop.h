// SPDX-License-Identifier: Apache-2.0
//
// The main loop of the commands that wait for something.
#ifndef SRCWATCH_TOOLS_LOOP_H
#define SRCWATCH_TOOLS_LOOP_H

#include <exception>
#include <functional>
#include <optional>
#include <vector>

#include <glib.h>

namespace ctl {

/// Runs the default main context until a callback ends it, time is up, or SIGINT or SIGTERM arrives.
class Loop {
public:
    enum class End { kDone, kTimedOut, kInterrupted };

    Loop();
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;
    ~Loop();

    /// Runs for at most these seconds. Throws what a callback under Guard() threw.
    End Run(std::optional<double> seconds);

    /// Ends Run(): from within a callback, or before it is called.
    void Quit(End end = End::kDone);

    /// Runs a callback's body, from which no exception may leave through C code.
    void Guard(const std::function<void()>& body);

private:
    void AddSource(GSource* source, GSourceFunc callback);

    GMainLoop* const m_loop;
    std::vector<unsigned> m_sources;
    bool m_ended = false;
    End m_end = End::kDone;
    std::exception_ptr m_exception;
};

}  // namespace ctl

#endif
