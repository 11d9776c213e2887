// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory: which device directories it has, and when one of them has settled.
#ifndef SRCWATCH_SERVICE_INPUTS_H
#define SRCWATCH_SERVICE_INPUTS_H

#include "DirectoryWatch.h"
#include "PortSet.h"
#include "Timer.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include <sys/types.h>

namespace srcwatch {

/// Receives what happens on the inputs, in the default main context.
class InputsListener {
public:
    virtual ~InputsListener() = default;
    virtual void OnPlugged(int port) = 0;
    virtual void OnUnplugged(int port) = 0;
    /// The device's files have been quiet for a while after the device appeared or one of them changed, or they have
    /// changed for so long that they are read all the same.
    virtual void OnSettled(int port) = 0;
    /// The inputs directory itself is gone; nothing can happen any more.
    virtual void OnInputsLost() = 0;
};

/**
 * Watches a directory whose entries "hdmi1" to "hdmi8" and "optical" are the plugged devices, each a directory or a
 * link to one. Entries of other names are logged in one line and ignored.
 */
class Inputs {
public:
    Inputs(unsigned quietMilliseconds, PortSet ports, InputsListener& listener);

    /// Starts to watch and reports the devices that are there. @return Why that is not possible, or empty.
    std::string Start(const std::string& path);

    /// The directory of a plugged device, without links; empty if there is none.
    const std::string& DirectoryOf(int port) const { return m_inputs.at(port).directory; }
    bool IsPlugged(int port) const { return !DirectoryOf(port).empty(); }

    /// Examines a port now, without waiting for a notice, and reports what changed.
    void Refresh(int port) { Refresh(m_inputs.at(port)); }

    /// Returns true if OnSettled() is still to come.
    bool IsSettling(int port) const { return m_inputs.at(port).quiet.IsRunning(); }
    void CancelSettling(int port) { m_inputs.at(port).quiet.Stop(); }
    /// Has OnSettled() come after a second, for a device that cannot be read now.
    void SettleLater(int port);

private:
    struct Input {
        Input(Inputs& owner, int portIndex);

        const int port;
        std::string directory;  // empty while nothing is plugged
        dev_t device = 0;
        ino_t inode = 0;
        DirectoryWatch watch;
        Timer quiet;
        gint64 due = 0;       // of the timer, in milliseconds
        gint64 latest = 0;    // what it may become
        Timer again;          // until the input, or watching its device, is tried again
        std::string refusal;  // the reason that was logged last, so that it is logged once
    };

    void HandleChange(const std::string& name, std::uint32_t events);
    void HandleChangeOfDevice(Input& input, const std::string& name, std::uint32_t events);

    Input* Find(const std::string& name);
    void Refresh(Input& input);
    void Plug(Input& input, const std::string& directory, dev_t device, ino_t inode);
    void Unplug(Input& input);
    void Refuse(Input& input, const std::string& reason);
    void RefuseFor(Input& input, const std::error_code& error);
    void LogOnce(Input& input, const char* what, const std::string& reason);
    void RefreshLater(Input& input);
    void WatchDevice(Input& input);
    void Settle(Input& input, unsigned milliseconds);
    void CountUnknown(const std::string& name);
    void LogUnknown();

    const unsigned m_quietMilliseconds;
    InputsListener& m_listener;
    std::string m_path;
    std::map<int, Input> m_inputs;
    DirectoryWatch m_watch;
    std::size_t m_unknownCount = 0;
    std::string m_firstUnknown;
    Timer m_unknownTimer;
};

}  // namespace srcwatch

#endif
