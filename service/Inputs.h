// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory: which device directories are there, and when one of them has settled.
#ifndef SRCWATCH_SERVICE_INPUTS_H
#define SRCWATCH_SERVICE_INPUTS_H

#include "Handle.h"
#include "Timer.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gio/gio.h>
#include <sys/types.h>

namespace srcwatch {

/// Is told what happens on the inputs, in the default main context.
class InputsListener {
public:
    virtual ~InputsListener() = default;
    virtual void OnPlugged(int port) = 0;
    virtual void OnUnplugged(int port) = 0;
    /// The device's files have been quiet for a while after the device appeared or one of them changed.
    virtual void OnSettled(int port) = 0;
    /// The inputs directory itself is gone; nothing can happen any more.
    virtual void OnInputsLost() = 0;
};

/**
 * Watches a directory whose entries "hdmi1" to "hdmi8" and "optical" are the plugged devices, each a directory or a
 * link to one. Whatever else lies there is told in one log line and ignored.
 */
class Inputs {
public:
    Inputs(unsigned quietMilliseconds, int hdmiCount, InputsListener& listener);
    ~Inputs();
    Inputs(const Inputs&) = delete;
    Inputs& operator=(const Inputs&) = delete;

    /// Begin to watch; tells the listener of the devices that are there. @return Why it is not possible, or empty.
    std::string Start(const std::string& path);

    /// The directory of a plugged device, without links; empty when there is none.
    std::string DirectoryOf(int port) const;
    bool IsPlugged(int port) const { return !DirectoryOf(port).empty(); }

    /// Look at a port now, without waiting for a notice; tells the listener of what it finds changed.
    void Look(int port);

    /// Whether OnSettled() is still to come; forget about it.
    bool IsSettling(int port) const;
    void ForgetSettling(int port);

private:
    struct Input;

    static void OnInputsEvent(GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event, gpointer self);
    static void OnDeviceEvent(GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event,
                              gpointer input);
    void HandleInputsEvent(const std::string& name, const std::string& otherName, GFileMonitorEvent event);
    void HandleAppeared(const std::string& name);
    void HandleGone(const std::string& name);
    void HandleAttributes(const std::string& name);

    Input* Find(const std::string& name) const;
    Input* Find(int port) const;
    void Look(Input& input);
    void Plug(Input& input, const std::string& directory, dev_t device, ino_t inode);
    void Unplug(Input& input);
    void Refuse(Input& input, const std::string& reason);
    void WatchDevice(Input& input);
    void BeginQuiet(Input& input);
    void NoteUnknown(const std::string& name);
    void TellUnknown();
    std::string NoteUnknownThere();

    const unsigned m_quietMilliseconds;
    InputsListener& m_listener;
    std::string m_path;
    std::vector<std::unique_ptr<Input>> m_inputs;
    Handle<GFileMonitor, g_object_unref> m_monitor;
    std::size_t m_unknownCount = 0;
    std::string m_firstUnknown;
    Timer m_unknownTimer;
};

}  // namespace srcwatch

#endif
