// SPDX-License-Identifier: Apache-2.0
//
// A CEC adapter of the kernel (linux/cec.h), as the TV's: opened, given the TV's addresses, and what goes over its bus.
#ifndef SRCWATCH_SERVICE_CECADAPTER_H
#define SRCWATCH_SERVICE_CECADAPTER_H

#include "Decoded.h"
#include "DeviceCalls.h"
#include "Timer.h"

#include <functional>
#include <string>

#include <glib.h>
#include <linux/cec.h>

namespace srcwatch {

/// Receives what happens on an adapter, in the default main context.
class CecListener {
public:
    virtual ~CecListener() = default;
    /// The adapter has its addresses, or has got them again: everything on the bus may be another one.
    virtual void OnReady() = 0;
    /// The adapter cannot be used any more. It is tried again.
    virtual void OnLost() = 0;
    /// Another device has sent this, possibly to a third one.
    virtual void OnMessage(const Bytes& message) = 0;
    /// Messages were lost.
    virtual void OnMissed() = 0;
};

/// What became of a message that was sent.
enum class CecOutcome {
    kAnswered,        ///< or acknowledged, if no answer was asked for
    kRefused,         ///< answered with <Feature Abort>
    kUnanswered,      ///< acknowledged, but not answered
    kUnacknowledged,  ///< nobody is at the address
    kFailed           ///< the bus or the adapter failed, which says nothing about the device
};

/// How long things take, in milliseconds.
struct CecTimes {
    unsigned round = 5000;      ///< a poll of all addresses
    unsigned pause = 1000;      ///< before an adapter that failed is opened again
    unsigned claim = 5000;      ///< at most until the adapter has a logical address
    unsigned answer = 5000;     ///< at most until the kernel reports what became of a message
    unsigned questions = 3000;  ///< at most from a device's appearance until it is detected
};

/**
 * Whatever call fails: the adapter is closed, opened again after a pause, and given its addresses again. That is also
 * how an adapter that is plugged in later is found: a watch on /dev would wake the service at each write to /dev/null,
 * and opening a name that is not there costs microseconds. What goes wrong is logged once, until something works.
 *
 * The kernel answers what others ask the TV. It does so only as long as nobody is a follower, so this is an initiator,
 * and a monitor on a second descriptor if the process may (CAP_NET_ADMIN).
 */
class CecAdapter {
public:
    CecAdapter(std::string path, const CecTimes& times, DeviceCalls& calls, CecListener& listener);
    ~CecAdapter() { Close(); }
    CecAdapter(const CecAdapter&) = delete;
    CecAdapter& operator=(const CecAdapter&) = delete;

    void Start();

    bool IsReady() const { return m_address != CEC_LOG_ADDR_INVALID; }
    /// Returns true if all messages on the bus are heard, and not only answers.
    bool HearsAll() const { return m_monitor.descriptor >= 0; }
    /// The TV's logical address while the adapter is ready.
    int Address() const { return m_address; }
    const std::string& Path() const { return m_path; }

    /// Returns true while a message is under way. There is only one at a time.
    bool IsSending() const { return m_sequence != 0; }
    /// Sends a message, whose initiator is filled in. Its answer comes by OnMessage() before the outcome; there is none
    /// after OnLost().
    void Send(cec_msg message, std::function<void(CecOutcome)> onOutcome);

private:
    struct Opened {
        int descriptor = -1;
        unsigned source = 0;
    };

    void TryToOpen();
    std::string Open();
    std::string OpenDescriptor(Opened& opened, unsigned mode);
    std::string Configure();
    int ClaimAddress();
    void Close();
    void Close(Opened& opened);
    void Fail(const std::string& reason);
    void Complain(const std::string& reason);
    void BeReady(unsigned addressMask);

    static gboolean OnReadable(int descriptor, GIOCondition condition, gpointer self);
    int ReceiveEvent(int descriptor);
    int ReceiveMessage(int descriptor);
    void HandleStateChange(const cec_event_state_change& state);
    void HandleMessage(const cec_msg& message, bool isInitiator);
    void EndSending(CecOutcome outcome);

    const std::string m_path;
    const CecTimes m_times;
    DeviceCalls& m_calls;
    CecListener& m_listener;

    Opened m_initiator;
    Opened m_monitor;
    int m_address = CEC_LOG_ADDR_INVALID;
    unsigned m_sequence = 0;  // of the message under way
    bool m_awaitsAnswer = false;
    std::function<void(CecOutcome)> m_onOutcome;
    Timer m_deadline;  // of the message under way, or of claiming an address
    Timer m_again;
    std::string m_complaint;  // that was logged last, until something works
    std::string m_readiness;  // likewise
};

}  // namespace srcwatch

#endif
