// SPDX-License-Identifier: Apache-2.0
//
// Which functions wait for the senders' lock or the receivers' lock, and which never do. Each lock is held by another
// object on another channel.
#include "BusTest.h"
#include "Held.h"

#include <memory>

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;

class Locks : public BusTest {
protected:
    static constexpr char kNameLost[] = "E m_NameLostHandler: HANDLER: name_lost_handler";
    static constexpr std::uint32_t kReplaceExisting = 2;

    void Emit(int type) { peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, kEmptyMessage)); }

    // A service in the main context of the loop; it also has handled its own first announcement.
    void MakeService()
    {
        loop.Call([this] { receiver = std::make_unique<CQDEventReciever>(kChannel, true); });
        ASSERT_TRUE(WaitUntil([this] { return Logged("D m_SignalHandler: signal end"); }));
        TakeLog();
    }

    void MakeClient()
    {
        loop.Call([this] { receiver = std::make_unique<CQDEventReciever>(kChannel, false); });
        SyncSharedConnection();
    }

    void TearDown() override
    {
        loop.Call([this] { receiver.reset(); });
    }

    Watchdog watchdog;
    BusPeer peer;
    LoopThread loop;
    std::unique_ptr<CQDEventReciever> receiver;
    Deliveries deliveries;
};

// ---------------------------------------------------------------------------------------------------------------------
// The senders' lock

using Operation = void (*)(CQDEventSender& sender);

struct NamedOperation {
    const char* name;
    Operation run;
};

std::string NameOf(const testing::TestParamInfo<NamedOperation>& info) { return info.param.name; }

class SenderLock : public Locks, public testing::WithParamInterface<NamedOperation> {
protected:
    SenderLock()
    {
        peer.AnswerWith([](const BusMessage& call) {
            return call.member == "GetAll" ? g_variant_new_parsed("(@a{sv} {},)") : g_variant_new("(s)", "reply");
        });
        EXPECT_EQ(peer.RequestName(kChannelName), 1U);
        EXPECT_EQ(sender.Call(1), 1);  // is connected and has its proxy
    }

    CQDEventSender sender{kChannel};
};

class WithSenderLock : public SenderLock {};

TEST_P(WithSenderLock, WaitsForTheSendOfAnotherSender)
{
    HeldSender held;

    const Task task([this] { GetParam().run(sender); });

    EXPECT_FALSE(task.IsDoneWithin(kMoment));
    held.Release();
    EXPECT_TRUE(task.IsDoneWithin(kDeadline));
}

TEST_P(WithSenderLock, MayBeCalledInsideTheSendOfAnotherSender)
{
    bool isDone = false;

    RunInsideASend([&] {
        GetParam().run(sender);
        isDone = true;
    });

    EXPECT_TRUE(isDone);
}

TEST_P(WithSenderLock, LeavesTheLockFree)
{
    GetParam().run(sender);

    const Task task([] { CQDEventSender(kChannel).ClearEvent(); });

    EXPECT_TRUE(task.IsDoneWithin(kDeadline));
}

TEST_P(WithSenderLock, DoesNotWaitForACallback)
{
    HeldCallback held;

    const Task task([this] { GetParam().run(sender); });

    EXPECT_TRUE(task.IsDoneWithin(kDeadline));
    held.Release();
}

constexpr NamedOperation kWithSenderLock[] = {
    {"SendEvent", [](CQDEventSender& sender) { sender.SendEvent(1); }},
    {"SendEventWithNumbers", [](CQDEventSender& sender) { sender.SendEvent(1, 2, 3, 4); }},
    {"SendSignal", [](CQDEventSender& sender) { EXPECT_EQ(sender.SendSignal(1), 1); }},
    {"SendSignalWithExtra",
     [](CQDEventSender& sender) { EXPECT_EQ(sender.SendSignal(1, std::stringstream("extra")), 1); }},
    {"Call", [](CQDEventSender& sender) { EXPECT_EQ(sender.Call(1), 1); }},
    {"CallWithReply",
     [](CQDEventSender& sender) {
         std::stringstream reply;
         EXPECT_EQ(sender.Call(1, reply), 1);
     }},
    {"CallWithExtraAndReply",
     [](CQDEventSender& sender) {
         std::stringstream reply;
         EXPECT_EQ(sender.Call(1, std::stringstream("extra"), reply), 1);
     }},
    {"AppendNumbers", [](CQDEventSender& sender) { sender.AppendArgs(1L, 2L, 3L, 4L); }},
    {"AppendTexts", [](CQDEventSender& sender) { sender.AppendArgs("a", "b", "c"); }},
    {"AppendPointers", [](CQDEventSender& sender) { sender.AppendArgs(nullptr, &sender, nullptr, nullptr); }},
    {"ClearEvent", [](CQDEventSender& sender) { sender.ClearEvent(); }},
};

INSTANTIATE_TEST_SUITE_P(Operations, WithSenderLock, testing::ValuesIn(kWithSenderLock), NameOf);

class WithoutSenderLock : public SenderLock {};

TEST_P(WithoutSenderLock, DoesNotWaitForTheSendOfAnotherSender)
{
    HeldSender held;

    const Task task([this] { GetParam().run(sender); });

    EXPECT_TRUE(task.IsDoneWithin(kDeadline));
    held.Release();
}

constexpr NamedOperation kWithoutSenderLock[] = {
    {"AppendEvent", [](CQDEventSender& sender) { sender.AppendArgs(srcwatch_event_s()); }},
    {"IsServiceAvailable", [](CQDEventSender& sender) { EXPECT_EQ(sender.IsServiceAvailable(), 1); }},
    {"Construction", [](CQDEventSender&) { const CQDEventSender other(kChannel); }},
};

INSTANTIATE_TEST_SUITE_P(Operations, WithoutSenderLock, testing::ValuesIn(kWithoutSenderLock), NameOf);

TEST_F(Locks, OfTheSendersAreNotWaitedForByADestructor)
{
    auto fresh = std::make_unique<CQDEventSender>(kChannel);
    auto used = std::make_unique<CQDEventSender>(kChannel);
    ASSERT_EQ(used->SendSignal(1), 1);
    HeldSender held;

    const Task task([&] {
        fresh.reset();
        used.reset();
    });

    EXPECT_TRUE(task.IsDoneWithin(kDeadline));
    held.Release();
}

TEST_F(Locks, OfTheSendersAreNotWaitedForByReceivers)
{
    MakeClient();
    const HeldSender held;

    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    receiver->UnregisterEventCallback(6);
    Emit(5);

    EXPECT_TRUE(WaitUntil([this] { return deliveries.Count() == 1; }));
    loop.Call([this] { receiver.reset(); });
}

// ---------------------------------------------------------------------------------------------------------------------
// The receivers' lock

TEST_F(Locks, OfTheReceiversAreTakenToRegisterACallback)
{
    MakeClient();
    HeldCallback held;

    const Task task([this] { receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries); });

    EXPECT_FALSE(task.IsDoneWithin(kMoment));
    EXPECT_FALSE(Logged("E RegisterEventCallback: register eventtype: 5"));
    held.Release();
    EXPECT_TRUE(task.IsDoneWithin(kDeadline));
}

TEST_F(Locks, OfTheReceiversAreTakenToUnregisterACallback)
{
    MakeClient();
    HeldCallback held;

    const Task task([this] { receiver->UnregisterEventCallback(5); });

    EXPECT_FALSE(task.IsDoneWithin(kMoment));
    held.Release();
    EXPECT_TRUE(task.IsDoneWithin(kDeadline));
}

TEST_F(Locks, OfTheReceiversAreTakenToHandleASignal)
{
    MakeClient();
    receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
    HeldCallback held;
    TakeLog();

    Emit(5);

    EXPECT_FALSE(WaitUntil([this] { return Logged("D m_SignalHandler: Received signal"); }, kMoment));
    held.Release();
    EXPECT_TRUE(WaitUntil([this] { return deliveries.Count() == 1; }));
}

TEST_F(Locks, OfTheReceiversAreTakenToHandleACall)
{
    MakeService();
    HeldCallback held;

    const std::uint32_t serial =
        peer.Send(kChannelName, kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 5, kEmptyMessage));

    EXPECT_FALSE(WaitUntil([this] { return Logged("E m_MethodCallHandler: Received method call"); }, kMoment));
    held.Release();
    EXPECT_TRUE(WaitUntil([&] { return peer.ReplyTo(serial); }));
}

TEST_F(Locks, OfTheReceiversAreTakenToSetUpAServiceOnTheBus)
{
    const std::string setUp = std::string("E m_BusAcquiredHandler: ") + kChannelLine;
    HeldCallback held;

    loop.Call([this] { receiver = std::make_unique<CQDEventReciever>(kChannel, true); });

    EXPECT_FALSE(WaitUntil([&] { return Logged(setUp); }, kMoment));
    held.Release();
    EXPECT_TRUE(WaitUntil([this] { return Logged("E m_NameAcquiredHandler: Registered on DBus"); }));
    EXPECT_TRUE(Logged(setUp));
}

TEST_F(Locks, AreNotWaitedForToAnnounceThatTheNameIsLost)
{
    MakeService();
    peer.Listen(kChannelName);
    const HeldCallback held;

    peer.RequestName(kChannelName, kReplaceExisting);

    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].type, SRCWATCH_EVENT_SERVICE_STOPPED);
}

TEST_F(Locks, AreNotWaitedForToAnnounceThatTheNameIsAcquired)
{
    MakeService();
    peer.RequestName(kChannelName, kReplaceExisting);
    ASSERT_TRUE(WaitUntil([this] { return Logged(kNameLost) && Logged("D m_SignalHandler: signal end"); }));
    peer.Listen(kChannelName);
    const HeldCallback held;

    peer.ReleaseName(kChannelName);

    const std::vector<BusMessage> signals = peer.WaitForSignals(1);
    ASSERT_EQ(signals.size(), 1U);
    EXPECT_EQ(signals[0].type, SRCWATCH_EVENT_SERVICE_STARTED);
}

TEST_F(Locks, AreNotWaitedForByConstructorsAndDestructors)
{
    auto client = std::make_unique<CQDEventReciever>(kChannel, false);
    auto service = std::make_unique<CQDEventReciever>(kChannel, true);
    ASSERT_TRUE(RunUntilNameAcquired());
    HeldCallback held;

    const Task task([&] {
        client.reset();
        service.reset();
        const CQDEventReciever other(kChannel, false);
    });

    EXPECT_TRUE(task.IsDoneWithin(kDeadline));
    held.Release();
}

}  // namespace
