// SPDX-License-Identifier: Apache-2.0
//
// Records what happens: a snapshot, then all writes of settings, events, calls and inputs.
#ifndef SRCWATCH_TOOLS_RECORDER_H
#define SRCWATCH_TOOLS_RECORDER_H

#include "BusListener.h"
#include "ChannelMessages.h"
#include "InputsWatch.h"
#include "Loop.h"
#include "RecordingFile.h"
#include "Settings.h"

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ctl {

struct RecordOptions {
    std::string file;
    std::string inputs;             ///< inputs directory; what is not there is not recorded
    std::optional<double> seconds;  ///< to record; nothing for until it is interrupted
    int count = 0;                  ///< of entries after the snapshot to record; 0 for all
};

class Recorder {
public:
    /// Begins the recording: from now on nothing is missed. Says on standard error what cannot be recorded. Throws a
    /// Failure if the file cannot be made, or settings or bus cannot be read.
    Recorder(const RecordOptions& options, AksvHider& hider);
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder();

    /// Records until the end. Throws a Failure if the bus is lost or the disk is full.
    void Run();

    int Count() const { return m_writer.Count(); }
    bool HasCalls() const { return m_listener->WhyNoCalls().empty(); }

private:
    void Guard(const std::function<void()>& body);
    static void OnSetting(const char* key, const srcwatch_host_value* value, void* self);
    static void OnReplaced(void* self);
    static gboolean OnIdle(void* self);
    void WatchInputs();
    void TakeSnapshot();
    void Add(Json::Value entry);
    void FlushWhenIdle();

    const RecordOptions& m_options;
    Loop m_loop;
    RecordingWriter m_writer;
    ChannelMessages m_messages;
    bool m_isBegun = false;  // by the snapshot
    std::exception_ptr m_failure;
    unsigned m_idle = 0;
    std::unique_ptr<SettingsWatch> m_settings;
    unsigned m_replacement = 0;
    std::unique_ptr<InputsWatch> m_inputs;
    std::unique_ptr<BusListener> m_listener;
};

}  // namespace ctl

#endif
