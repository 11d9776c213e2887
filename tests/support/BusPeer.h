// SPDX-License-Identifier: Apache-2.0
//
// A peer on a message bus that shares nothing with the library but GDBus itself: it has its own connection and sees
// messages before any main loop does.
#ifndef SRCWATCH_TESTS_BUSPEER_H
#define SRCWATCH_TESTS_BUSPEER_H

#include "Handle.h"
#include "PrivateBus.h"
#include "Waiting.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include <gio/gio.h>

namespace srcwatch_test {

using Variant = srcwatch::Handle<GVariant, g_variant_unref>;

/// A message that arrived at a peer.
struct BusMessage {
    GDBusMessageType kind = G_DBUS_MESSAGE_TYPE_INVALID;
    std::string sender, destination, path, interface, member;
    std::string error;      ///< name of the error, of an error reply
    std::string signature;  ///< of the body, without the parentheses
    int type = 0;           ///< the first item of a body "is"
    std::string text;       ///< the text of a body "is" or "s"
    std::uint32_t replySerial = 0;
};

/// An independent client and service. It answers in GDBus's worker thread, independently of the test's own threads.
class BusPeer {
public:
    explicit BusPeer(const std::string& address = TheBus().Address());
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;
    ~BusPeer();

    /// Subscribes to all signals of an interface.
    void Listen(const std::string& interface);
    /// The signals that arrived so far.
    std::vector<BusMessage> Signals() const;
    /// The method calls that arrived so far.
    std::vector<BusMessage> Calls() const;
    /// Waits for at least count signals. @return Those that arrived until then.
    std::vector<BusMessage> WaitForSignals(std::size_t count, std::chrono::milliseconds deadline = kDeadline);
    void Forget();

    /// Answers method calls with the body that this makes; null leaves the call without a reply. Without an answerer
    /// every call is left so.
    using Answerer = std::function<GVariant*(const BusMessage& call)>;
    void AnswerWith(Answerer answerer);

    /// Requests a name from the bus, with DBUS_NAME_FLAG_... as flags. @return DBUS_REQUEST_NAME_REPLY_...
    std::uint32_t RequestName(const std::string& name, std::uint32_t flags = 0);
    void ReleaseName(const std::string& name);
    /// Returns the unique name of a name's owner; empty if it has none.
    std::string OwnerOf(const std::string& name);

    /// Broadcasts a signal; it has left the process when this returns. Takes a floating body.
    void Emit(const std::string& path, const std::string& interface, const std::string& member, GVariant* body);
    /// Sends a method call. Takes a floating body. @return The serial number, by which the reply is found.
    std::uint32_t Send(const std::string& destination, const std::string& path, const std::string& interface,
                       const std::string& method, GVariant* body);
    /// Returns true if the reply to a call has arrived, and stores it in reply.
    bool ReplyTo(std::uint32_t serial, BusMessage* reply = nullptr) const;
    /// Calls the bus itself, without any main loop. @return The reply; null if the call was refused.
    Variant AskBus(const std::string& method, GVariant* arguments);

    /// Waits until the bus has handled all that was sent on this connection.
    void Sync();
    const std::string& UniqueName() const { return m_uniqueName; }
    bool IsClosed() const { return g_dbus_connection_is_closed(m_connection) != FALSE; }

private:
    static GDBusMessage* Filter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming, void* peer);
    bool Take(GDBusMessage* message);
    void Answer(GDBusMessage* call, const BusMessage& parts);
    std::vector<BusMessage> Received(GDBusMessageType kind) const;

    GDBusConnection* m_connection;
    std::string m_uniqueName;
    unsigned m_filter;
    mutable std::mutex m_mutex;  ///< guards what follows
    std::condition_variable m_arrived;
    std::vector<BusMessage> m_received;
    Answerer m_answerer;
};

}  // namespace srcwatch_test

#endif
