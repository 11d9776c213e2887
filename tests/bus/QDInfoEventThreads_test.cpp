// SPDX-License-Identifier: Apache-2.0
//
// Receivers, senders and queries of many threads at once. Most useful under the thread sanitizer.
#include "BusTest.h"
#include "QDInfoCommon.h"
#include "Sanitizers.h"
#include "Threads.h"

#include <atomic>
#include <memory>
#include <thread>

#if SRCWATCH_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;

class Threads : public BusTest {
protected:
    void Emit(int type) { peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, kEmptyMessage)); }

    BusPeer peer;
};

TEST_F(Threads, OfQueriesGoOnWhileAnotherRegistersAndUnregisters)
{
    const Watchdog watchdog;
    platform.settings.texts[VCONF_SOURCE_ACTIVITY] =
        R"({"activity":[{"CECName":"Player"},{"CECName":"Player"},{"CECName":"Player"},{"CECName":"Player"}]})";
    std::atomic<bool> isOver{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> threads;
    threads.reserve(16);
    for (int thread = 0; thread < 16; ++thread) {
        threads.emplace_back([&, thread] {
            while (!isOver) {
                char name[100];
                int number = -1;
                bool changed = false;
                if (srcwatch_get_cec_name(name, thread % 4) != 0) ++bad;
                if (srcwatch_get_product_type_name(thread % 4, &number) != 0) ++bad;
                if (srcwatch_get_changed_device_info(thread % 4, &number, &changed) != 0) ++bad;
                // The platform in memory has one lock for all threads, which must be free now and then.
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
        });
    }
    Deliveries deliveries;

    for (int round = 0; round < 100; ++round) {
        ASSERT_EQ(srcwatch_register_event_callback(&Deliveries::Callback, &deliveries), 1);
        SyncSharedConnection();
        Emit(10);
        ASSERT_TRUE(RunUntil([&] { return deliveries.Count() > static_cast<std::size_t>(round); }));
        ASSERT_EQ(srcwatch_unregister_event_callback(&Deliveries::Callback), 1);
        TakeLog();  // it grows fast
    }
    isOver = true;
    for (std::thread& thread : threads) thread.join();

    EXPECT_EQ(bad, 0);
}

// GLib 2.74 now and then loses its own record of an owned name, 132 bytes, when the name is released in another thread
// than that of the main loop which is about to hand it over.
std::unique_ptr<CQDEventReciever> MakeServiceInAnotherThread()
{
#if SRCWATCH_ADDRESS_SANITIZER
    const __lsan::ScopedDisabler noLeaks;
#endif
    return std::make_unique<CQDEventReciever>(kChannel, true);
}

TEST_F(Threads, MayEndAReceiverWhileItsSignalsArriveInAnother)
{
    const Watchdog watchdog;
    std::atomic<bool> isOver{false};
    std::thread sender([&] {
        while (!isOver) CQDEventSender(kChannel).SendEvent(5);
    });
    Deliveries deliveries;
    // The receivers belong to the default context, which this thread runs, and are made and ended in another one.
    std::thread maker([&] {
        for (int round = 0; round < 150; ++round) {
            const bool isService = round % 3 == 0;
            auto receiver =
                isService ? MakeServiceInAnotherThread() : std::make_unique<CQDEventReciever>(kChannel, false);
            receiver->RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
            SyncSharedConnection();
            const std::size_t before = deliveries.Count();
            if (!isService) WaitUntil([&] { return deliveries.Count() > before; });
            receiver.reset();
            TakeLog();
        }
        isOver = true;
    });

    EXPECT_TRUE(RunUntil([&] { return isOver.load(); }, 10 * kDeadline));

    sender.join();
    maker.join();
    EXPECT_GT(deliveries.Count(), 0U);
}

TEST_F(Threads, MayChangeTheTableWhileSignalsAreHandled)
{
    const Watchdog watchdog;
    CQDEventReciever receiver(kChannel, false);
    Deliveries deliveries;
    SyncSharedConnection();
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    threads.reserve(16);
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            while (!isOver) {
                receiver.RegisterEventCallback(5, &Deliveries::Callback, &deliveries);
                receiver.UnregisterEventCallback(thread == 0 ? -1 : 5);
                std::this_thread::yield();
            }
        });
    }

    CQDEventSender sender(kChannel);
    for (int i = 0; i < 200; ++i) sender.SendEvent(5, i, 0, 0);
    ASSERT_TRUE(RunUntil([this] { return TimesLogged("D m_SignalHandler: signal end") >= 200; }, 10 * kDeadline));

    isOver = true;
    for (std::thread& thread : threads) thread.join();
}

TEST_F(Threads, OfTwoMainContextsBothGetEverySignal)
{
    const Watchdog watchdog;
    constexpr std::size_t kCount = 300;
    LoopThread loop;
    Deliveries ofLoop;
    Deliveries ofMain;
    std::unique_ptr<CQDEventReciever> other;
    CQDEventReciever receiver(kChannel, false);
    loop.Call([&] { other = std::make_unique<CQDEventReciever>(kChannel, true); });
    other->RegisterEventCallback(5, &Deliveries::Callback, &ofLoop);
    receiver.RegisterEventCallback(5, &Deliveries::Callback, &ofMain);
    ASSERT_TRUE(WaitUntil([this] { return Logged("E m_NameAcquiredHandler: Registered on DBus"); }));
    SyncSharedConnection();

    std::thread sender([] {
        CQDEventSender own(kChannel);
        for (std::size_t i = 0; i < kCount; ++i) own.SendEvent(5, static_cast<long>(i), 0, 0);
    });

    EXPECT_TRUE(RunUntil([&] { return ofLoop.Count() == kCount && ofMain.Count() == kCount; }, 10 * kDeadline));
    sender.join();
    loop.Call([&] { other.reset(); });
    for (const Deliveries* deliveries : {&ofLoop, &ofMain}) {
        int next = 0;
        for (const Delivery& delivery : deliveries->All()) ASSERT_EQ(delivery.event.args[0], next++);
    }
}

// A handler that waits for the lock must not be waited for by a callback that holds it.
TEST_F(Threads, DoNotBlockWhenACallbackDeletesAnothersReceiver)
{
    const Watchdog watchdog;
    LoopThread loop;
    std::atomic<bool> isInside{false};
    std::atomic<bool> isAboutToHandle{false};
    auto client = std::make_unique<CQDEventReciever>(kChannel, false);
    std::unique_ptr<CQDEventReciever> other;
    struct Parts {
        std::atomic<bool>& isInside;
        std::atomic<bool>& isAboutToHandle;
        std::unique_ptr<CQDEventReciever>& client;
    } parts{isInside, isAboutToHandle, client};
    loop.Call([&] {
        other = std::make_unique<CQDEventReciever>(kChannel, false);
        other->RegisterEventCallback(
            5,
            [](void* data, srcwatch_event_s*) {
                const auto* self = static_cast<Parts*>(data);
                self->isInside = true;
                WaitUntil([self] { return self->isAboutToHandle.load(); });
                // The main thread is on its way to the lock; nothing shows when it waits there.
                WaitUntil([] { return false; }, std::chrono::milliseconds(100));
                self->client.reset();
            },
            &parts);
    });
    SyncSharedConnection();

    Emit(5);
    ASSERT_TRUE(WaitUntil([&] { return isInside.load(); }));
    isAboutToHandle = true;
    EXPECT_TRUE(RunUntil([&] {
        const std::lock_guard<std::recursive_mutex> lock(PlatformMutex());
        return TimesLogged("D m_SignalHandler: signal end") > 0;
    }));

    loop.Call([&] { other.reset(); });
    EXPECT_EQ(client, nullptr);
}

}  // namespace
