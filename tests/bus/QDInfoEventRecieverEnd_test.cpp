// SPDX-License-Identifier: Apache-2.0
//
// The end of a receiver in every state, and receivers in other main contexts.
#include "ReceiverTest.h"

#include <functional>
#include <thread>

namespace {

using namespace srcwatch_test;
using testing::ElementsAre;
using testing::IsEmpty;

// ---------------------------------------------------------------------------------------------------------------------
// Its end

TEST_F(Receiver, OfAServiceEndsBeforeAnyMainLoopRan)
{
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);
    TakeLog();
    receiver.reset();

    EXPECT_THAT(TakeLog(), ElementsAre(kEmptyTable, kEnd));
    peer.Sync();
    RunPending();
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_EQ(peer.OwnerOf(kChannelName), "");
}

TEST_F(Receiver, OfAServiceEndsAfterAnyNumberOfTurnsOfTheMainLoop)
{
    for (int turns = 0; turns < 40; ++turns) {
        receiver = std::make_unique<CQDEventReciever>(kChannel, true);
        for (int turn = 0; turn < turns; ++turn) g_main_context_iteration(nullptr, FALSE);
        receiver.reset();
        EXPECT_EQ(TakeLog().back(), kEnd);
    }
    MakeService();
    EXPECT_EQ(Call(5).signature, "s");
}

TEST_F(Receiver, EndsAfterTheBusDied)
{
    for (const bool isService : {false, true}) {
        if (!TheBus().IsRunning()) TheBus().Restart();
        receiver = std::make_unique<CQDEventReciever>(kChannel, isService);
        if (isService) {
            ASSERT_TRUE(RunUntilNameAcquired());
        }
        SharedConnectionWatch connection;
        TheBus().Kill();

        receiver.reset();

        EXPECT_EQ(TakeLog().back(), kEnd);
        ASSERT_TRUE(connection.RunUntilGone());
    }
}

TEST_F(Receiver, OfAServiceEndsAfterItSawTheBusDie)
{
    MakeService();
    TheBus().Kill();
    ASSERT_TRUE(RunUntil([this] { return Logged(kNameLost); }));
    TakeLog();

    receiver.reset();

    EXPECT_EQ(TakeLog().back(), kEnd);
    EXPECT_THAT(TakeGlibMessages(), IsEmpty());
}

TEST_F(Receiver, OfAServiceSurvivesABusThatDiedBeforeTheMainLoopRan)
{
    RunPending();
    receiver = std::make_unique<CQDEventReciever>(kChannel, true);
    // GLib has connected, in another thread, and the main loop is to hand the connection over.
    ASSERT_TRUE(WaitUntil([] { return g_main_context_pending(nullptr) != FALSE; }));
    TheBus().Kill();

    EXPECT_TRUE(RunUntil([this] { return Logged(kNameLost); }));  // and the process continues
}

TEST_F(Receiver, EndsWithSignalsStillInTheQueue)
{
    for (int round = 0; round < 20; ++round) {
        MakeClient();
        receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
        for (int i = 0; i < 20; ++i) Emit(5);
        SyncSharedConnection();
        for (int turn = 0; turn < round; ++turn) g_main_context_iteration(nullptr, FALSE);

        receiver.reset();
        const std::size_t count = deliveries.Count();
        RunPending();

        EXPECT_EQ(deliveries.Count(), count);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Other main contexts

class ContextThread {
public:
    ContextThread() : m_context(g_main_context_new()) {}
    ContextThread(const ContextThread&) = delete;
    ContextThread& operator=(const ContextThread&) = delete;
    ~ContextThread() { g_main_context_unref(m_context); }

    // Runs body in another thread, whose thread-default context is one of its own.
    void Run(const std::function<void(GMainContext*)>& body)
    {
        std::thread([this, &body] {
            g_main_context_push_thread_default(m_context);
            body(m_context);
            while (g_main_context_iteration(m_context, FALSE) != FALSE) {
            }
            g_main_context_pop_thread_default(m_context);
        }).join();
    }

private:
    GMainContext* m_context;
};

TEST_F(BusTest, AReceiverRunsInTheMainContextOfItsThread)
{
    BusPeer peer;
    for (const bool isService : {false, true}) {
        ContextThread().Run([&](GMainContext* context) {
            Deliveries deliveries;
            const auto self = std::this_thread::get_id();
            static std::thread::id calledIn;
            CQDEventReciever receiver(kChannel, isService);
            receiver.RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
            receiver.RegisterEventCallback(
                6, [](void*, srcwatch_event_s*) { calledIn = std::this_thread::get_id(); }, nullptr);
            if (isService) {
                EXPECT_TRUE(RunUntil([&] { return Logged("E m_NameAcquiredHandler: Registered on DBus"); }, kDeadline,
                                     context));
            } else {
                SyncSharedConnection();
            }

            peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 6, ""));
            peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", 5, ""));

            EXPECT_TRUE(RunUntil([&] { return deliveries.Count() == 1; }, kDeadline, context));
            EXPECT_EQ(calledIn, self);
        });
    }
}

TEST_F(BusTest, AReceiverOfAThreadEndsThereAfterItsBusDied)
{
    ContextThread().Run([this](GMainContext* context) {
        auto service = std::make_unique<CQDEventReciever>(kChannel, true);
        EXPECT_TRUE(
            RunUntil([this] { return Logged("E m_NameAcquiredHandler: Registered on DBus"); }, kDeadline, context));
        TheBus().Kill();
        // GLib reports the end in the context in which the process's shared connection was made, of any thread.
        EXPECT_TRUE(RunUntil(
            [this] {
                g_main_context_iteration(nullptr, FALSE);
                return Logged(kNameLost);
            },
            kDeadline, context));
        service.reset();
    });

    EXPECT_EQ(TakeLog().back(), kEnd);
}

TEST_F(BusTest, AReceiverMayEndInAnotherThreadThanThatOfItsContext)
{
    auto client = std::make_unique<CQDEventReciever>(kChannel, false);
    auto service = std::make_unique<CQDEventReciever>(kChannel, true);
    ASSERT_TRUE(RunUntilNameAcquired());

    std::thread([&] {
        client.reset();
        service.reset();
    }).join();
    RunPending();

    EXPECT_EQ(BusPeer().OwnerOf(kChannelName), "");
}

}  // namespace
