// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the receiver share: a receiver in either mode, and a peer that sends to it.
#ifndef SRCWATCH_TESTS_RECEIVERTEST_H
#define SRCWATCH_TESTS_RECEIVERTEST_H

#include "BusTest.h"

#include <memory>

namespace srcwatch_test {

using qdinfo::CQDEventReciever;

constexpr char kEmptyTable[] = "E ~CQDEventReciever: m_EventCallbackTable";
constexpr char kEnd[] = "E ~CQDEventReciever: end";
constexpr char kNameLost[] = "E m_NameLostHandler: HANDLER: name_lost_handler";

class Receiver : public BusTest {
protected:
    void MakeClient()
    {
        receiver = std::make_unique<CQDEventReciever>(kChannel, false);
        SyncSharedConnection();
        TakeLog();
    }

    /// Leaves nothing in the queue: the service has also seen its own first announcement.
    void MakeService()
    {
        receiver = std::make_unique<CQDEventReciever>(kChannel, true);
        ASSERT_TRUE(RunUntilNameAcquired());
        ASSERT_TRUE(RunUntil([this] { return Logged("D m_SignalHandler: signal end"); }));
        TakeLog();
    }

    void Emit(int type, const std::string& message = kEmptyMessage)
    {
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, message.c_str()));
    }

    /// Emits, and runs the main loop until the receiver has handled it.
    void EmitAndHandle(int type, const std::string& message = kEmptyMessage)
    {
        const std::size_t handled = TimesLogged("D m_SignalHandler: signal end");
        Emit(type, message);
        ASSERT_TRUE(RunUntil([&] { return TimesLogged("D m_SignalHandler: signal end") > handled; }));
    }

    BusMessage Call(int type, const std::string& message = kEmptyMessage)
    {
        return Call(g_variant_new("(is)", type, message.c_str()));
    }
    BusMessage Call(GVariant* body)
    {
        const std::uint32_t serial = peer.Send(kChannelName, kChannelPath, kChannelName, kChannel, body);
        BusMessage reply;
        EXPECT_TRUE(RunUntil([&] { return peer.ReplyTo(serial, &reply); }));
        return reply;
    }

    BusPeer peer;
    std::unique_ptr<CQDEventReciever> receiver;
    Deliveries deliveries;
};

}  // namespace srcwatch_test

#endif
