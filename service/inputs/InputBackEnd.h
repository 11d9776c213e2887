// SPDX-License-Identifier: Apache-2.0
//
// The interface between the service and what reports the devices on its inputs: a directory, an adapter, several
// of them together. What comes after the evidence does not know where it is from.
#ifndef SRCWATCH_SERVICE_INPUTBACKEND_H
#define SRCWATCH_SERVICE_INPUTBACKEND_H

#include "Capture.h"
#include "Evidence.h"

#include <string>

namespace srcwatch {

/// The time after which what could not be read is read again.
constexpr unsigned kPauseMilliseconds = 1000;

/// Receives what happens on the inputs, in the default main context.
class InputListener {
public:
    virtual ~InputListener() = default;
    virtual void OnPlugged(int port) = 0;
    virtual void OnUnplugged(int port) = 0;
    /// The evidence of a plugged device is complete, as far as can be known: a while after the device appeared or
    /// something about it changed.
    virtual void OnSettled(int port) = 0;
    /// Nothing can happen any more, for this reason.
    virtual void OnInputsLost(const std::string& reason) = 0;
};

/**
 * Knows what is plugged in. Only Start() makes it report; before, nothing is plugged in. A call must not wait. It may
 * report before it returns, and the listener may call again from within a report.
 */
class InputBackEnd {
public:
    InputBackEnd() = default;
    virtual ~InputBackEnd() = default;
    InputBackEnd(const InputBackEnd&) = delete;
    InputBackEnd& operator=(const InputBackEnd&) = delete;

    /// Starts to watch and reports the devices that are there. @return Why that is not possible, or empty.
    virtual std::string Start(InputListener& listener) = 0;

    virtual bool IsPlugged(int port) const = 0;

    /// Returns what the device on a plugged port says about itself.
    virtual Evidence ReadEvidence(int port) const = 0;

    /// Returns the same as the files of a capture.
    virtual Capture ReadCapture(int port) const = 0;

    /// Examines a port without waiting for a notice, and reports what changed: at once, or as soon as it is known.
    virtual void Refresh(int port) = 0;

    /// @name OnSettled() of a port
    /// @{
    /// Returns true if it is still to come.
    virtual bool IsSettling(int port) const = 0;
    virtual void CancelSettling(int port) = 0;
    /// Has it come after a second, for a device that cannot be read now.
    virtual void SettleLater(int port) = 0;
    /// @}
};

}  // namespace srcwatch

#endif
