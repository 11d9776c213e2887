// SPDX-License-Identifier: Apache-2.0
//
// Subscriptions of the C++ interface, with events of a real bus.
#include "BusTest.h"
#include "srcwatch.hpp"

#include <optional>

namespace {

using namespace srcwatch_test;
using srcwatch::Event;
using srcwatch::Subscription;

class CppSubscription : public BusTest {
protected:
    void Subscribe()
    {
        subscription.emplace(srcwatch::subscribe([this](const Event& event) { events.push_back(event); }).value());
        SyncSharedConnection();
    }
    // Emits an event, and runs the main loop until the receiver has handled it.
    void Emit(int type, const Numbers& numbers = {}, const Texts& texts = {})
    {
        const std::size_t handled = TimesLogged("D m_SignalHandler: signal end");
        peer.Emit(kChannelPath, kChannelName, kChannel, g_variant_new("(is)", type, MessageOf(numbers, texts).c_str()));
        ASSERT_TRUE(RunUntil([&] { return TimesLogged("D m_SignalHandler: signal end") > handled; }));
    }
    template <typename T>
    const T& Last() const
    {
        return std::get<T>(events.back());
    }

    BusPeer peer;
    std::vector<Event> events;
    std::optional<Subscription> subscription;
};

TEST_F(CppSubscription, DeliversEachTypeOfEvent)
{
    Subscribe();

    Emit(SRCWATCH_EVENT_CONNECTION, {2, 1});
    EXPECT_EQ(Last<srcwatch::ConnectionChanged>().port, 2);
    EXPECT_TRUE(Last<srcwatch::ConnectionChanged>().plugged);

    Emit(SRCWATCH_EVENT_DETECTED, {1, 3, 2}, {"BDQ-900", "Quellon", "Provider"});
    const auto& detected = Last<srcwatch::Detected>();
    EXPECT_EQ(detected.port, 1);
    EXPECT_EQ(detected.type, srcwatch::DeviceType::disc_player);
    EXPECT_TRUE(detected.changed);
    EXPECT_EQ(detected.name + "|" + detected.brand + "|" + detected.provider, "BDQ-900|Quellon|Provider");

    Emit(SRCWATCH_EVENT_SCAN_PROGRESS, {45, 1});
    EXPECT_EQ(Last<srcwatch::ScanProgressed>().percent, 45);
    EXPECT_EQ(Last<srcwatch::ScanProgressed>().port, 1);

    Emit(SRCWATCH_EVENT_SCAN_FINISHED, {-3, 0});
    EXPECT_EQ(Last<srcwatch::ScanFinished>().result, SRCWATCH_SCAN_NOTHING_FOUND);
    EXPECT_EQ(events.size(), 4U);
}

TEST_F(CppSubscription, EndsWithItsObject)
{
    Subscribe();
    Emit(SRCWATCH_EVENT_CONNECTION, {0, 1});

    subscription.reset();

    EXPECT_EQ(events.size(), 1U);
    EXPECT_EQ(srcwatch_unregister_event_callback(&Deliveries::Callback), 0);  // nothing is registered
}

TEST_F(CppSubscription, IsTheOnlyOneOfTheProcess)
{
    Subscribe();

    const auto second = srcwatch::subscribe([](const Event&) {});
    EXPECT_EQ(second.error(), srcwatch::Error::already_subscribed);

    Emit(SRCWATCH_EVENT_CONNECTION, {0, 1});
    EXPECT_EQ(events.size(), 1U);  // the first one is in force
}

TEST_F(CppSubscription, GoesOnWhenItIsMoved)
{
    Subscribe();

    Subscription moved = std::move(*subscription);
    subscription.reset();
    Emit(SRCWATCH_EVENT_CONNECTION, {0, 1});

    EXPECT_EQ(events.size(), 1U);
    subscription.emplace(std::move(moved));
    Emit(SRCWATCH_EVENT_CONNECTION, {0, 0});
    EXPECT_EQ(events.size(), 2U);
}

TEST_F(CppSubscription, MayEndWithinItsOwnCallback)
{
    const auto kept = std::make_shared<int>(5);
    int seen = 0;
    subscription.emplace(srcwatch::subscribe([this, kept, &seen](const Event&) {
                             subscription.reset();
                             seen = *kept;  // what the function has captured is still there
                         }).value());
    SyncSharedConnection();

    Emit(SRCWATCH_EVENT_CONNECTION, {0, 1});

    EXPECT_EQ(seen, 5);
    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(CppSubscription, CanBeMadeAgain)
{
    Subscribe();
    subscription.reset();
    Subscribe();

    Emit(SRCWATCH_EVENT_CONNECTION, {0, 1});

    EXPECT_EQ(events.size(), 1U);
}

TEST_F(CppSubscription, SurvivesAnExceptionOfItsCallback)
{
    int calls = 0;
    subscription.emplace(srcwatch::subscribe([&calls](const Event&) {
                             ++calls;
                             throw std::runtime_error("not today");
                         }).value());
    SyncSharedConnection();

    Emit(SRCWATCH_EVENT_CONNECTION, {0, 1});
    Emit(SRCWATCH_EVENT_CONNECTION, {0, 0});

    EXPECT_EQ(calls, 2);
}

}  // namespace
