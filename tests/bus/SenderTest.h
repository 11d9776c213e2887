// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the sender share: a sender, a peer that listens, and a service that answers.
#ifndef SRCWATCH_TESTS_SENDERTEST_H
#define SRCWATCH_TESTS_SENDERTEST_H

#include "BusTest.h"

#include <functional>

namespace srcwatch_test {

using qdinfo::CQDEventSender;

constexpr char kTokens[] = "D m_ConvertEventToStream: UNKNOWN UNKNOWN UNKNOWN";
constexpr char kNoConnection[] = "E m_Connect: Couldn't connect to DBus bus: '.+'";
const std::string kMessageLine = "E m_Call: sizeOfMsgData:44  MsgData:" + std::string(kEmptyMessage);

/// The service of the channel, played by an independent peer.
class Service {
public:
    /// Answers calls of the channel's method with the body; GetAll, with which a proxy begins, with no properties.
    explicit Service(const std::function<GVariant*(const BusMessage&)>& body)
    {
        peer.AnswerWith([body](const BusMessage& call) {
            return call.member == "GetAll" ? g_variant_new_parsed("(@a{sv} {},)") : body(call);
        });
        EXPECT_EQ(peer.RequestName(kChannelName), 1U);
    }

    /// The calls of the channel's own method.
    std::vector<BusMessage> Calls() const
    {
        std::vector<BusMessage> calls;
        for (const BusMessage& call : peer.Calls()) {
            if (call.interface == kChannelName) calls.push_back(call);
        }
        return calls;
    }

    BusPeer peer;
};

inline GVariant* Reply(const char* text) { return g_variant_new("(s)", text); }

class EventSender : public BusTest {
protected:
    EventSender() { peer.Listen(kChannelName); }

    CQDEventSender sender{kChannel};
    BusPeer peer;
};

}  // namespace srcwatch_test

#endif
