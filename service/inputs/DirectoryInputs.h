// SPDX-License-Identifier: Apache-2.0
//
// The inputs directory: which device directories it has, and when one of them has settled.
#ifndef SRCWATCH_SERVICE_DIRECTORYINPUTS_H
#define SRCWATCH_SERVICE_DIRECTORYINPUTS_H

#include "DirectoryWatch.h"
#include "InputBackEnd.h"
#include "PortSet.h"
#include "Timer.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <system_error>

#include <sys/types.h>

namespace srcwatch {

/**
 * Watches a directory whose entries "hdmi1" to "hdmi8" and "optical" are the plugged devices, each a directory or a
 * link to one. Entries of other names are logged in one line and ignored.
 */
class DirectoryInputs : public InputBackEnd {
public:
    DirectoryInputs(std::string path, unsigned quietMilliseconds, PortSet ports);

    std::string Start(InputListener& listener) override;
    bool IsPlugged(int port) const override { return !m_inputs.at(port).directory.empty(); }
    Evidence ReadEvidence(int port) const override;
    Capture ReadCapture(int port) const override;
    void Refresh(int port) override { Refresh(m_inputs.at(port)); }
    bool IsSettling(int port) const override { return m_inputs.at(port).quiet.IsRunning(); }
    void CancelSettling(int port) override { m_inputs.at(port).quiet.Stop(); }
    void SettleLater(int port) override;

private:
    struct Input {
        Input(DirectoryInputs& owner, int portIndex);

        const int port;
        std::string directory;  // without links; empty while nothing is plugged
        dev_t device = 0;
        ino_t inode = 0;
        DirectoryWatch watch;
        Timer quiet;
        gint64 due = 0;       // of the timer, in milliseconds
        gint64 latest = 0;    // what it may become
        Timer again;          // until the input, or watching its device, is tried again
        std::string refusal;  // the reason that was logged last, so that it is logged once
    };

    std::error_code Start();
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

    const std::string m_givenPath;
    const unsigned m_quietMilliseconds;
    InputListener* m_listener = nullptr;
    std::string m_path;  // without links
    std::map<int, Input> m_inputs;
    DirectoryWatch m_watch;
    std::size_t m_unknownCount = 0;
    std::string m_firstUnknown;
    Timer m_unknownTimer;
};

}  // namespace srcwatch

#endif
