// SPDX-License-Identifier: Apache-2.0
//
// Callbacks that end their thread, by pthread_exit or because another thread cancels it. All that is left of them is
// what GLib holds.
#include "BusTest.h"
#include "Sanitizers.h"
#include "Threads.h"

#include <memory>
#include <optional>

#include <pthread.h>
#include <unistd.h>

#if SRCWATCH_ADDRESS_SANITIZER
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using namespace srcwatch_test;
using qdinfo::CQDEventReciever;
using qdinfo::CQDEventSender;
using testing::Each;
using testing::Not;
using testing::StartsWith;

enum class Message { kSignalToClient, kSignalToService, kCall };

// Runs a main context of its own, as long as no callback ends it. GLib is left inside the dispatch that the end came
// in, so what belongs to the context stays.
class EndingThread {
public:
    // Without user data of its own, the callback gets the receiver's pointer.
    EndingThread(Message message, srcwatch_event_cb callback, void* userData = nullptr)
        : m_message(message), m_callback(callback), m_userData(userData != nullptr ? userData : &receiver)
    {
        EXPECT_EQ(pthread_create(&m_thread, nullptr, &Run, this), 0);
        EXPECT_TRUE(WaitUntil([this] { return m_isReady.load(); }));
    }
    EndingThread(const EndingThread&) = delete;
    EndingThread& operator=(const EndingThread&) = delete;
    ~EndingThread() { Join(); }

    void Cancel() { EXPECT_EQ(pthread_cancel(m_thread), 0); }

    // Its result.
    void* Join()
    {
        if (!m_isJoined) pthread_join(m_thread, &m_result);
        m_isJoined = true;
        return m_result;
    }

    std::unique_ptr<CQDEventReciever> receiver;

private:
    static void* Run(void* thread)
    {
        auto* self = static_cast<EndingThread*>(thread);
#if SRCWATCH_ADDRESS_SANITIZER
        // GLib 2.74 counts in a local variable of its own that a call uses the exported object.
        std::optional<__lsan::ScopedDisabler> noLeaks;
        if (self->m_message == Message::kCall) noLeaks.emplace();
#endif
        GMainContext* context = g_main_context_new();
        g_main_context_push_thread_default(context);
        self->receiver = std::make_unique<CQDEventReciever>(kChannel, self->m_message != Message::kSignalToClient);
        self->receiver->RegisterEventCallback(5, self->m_callback, self->m_userData);
        self->m_isReady = true;
        for (;;) g_main_context_iteration(context, TRUE);
    }

    Message m_message;
    srcwatch_event_cb m_callback;
    void* m_userData;
    std::atomic<bool> m_isReady{false};
    pthread_t m_thread{};
    bool m_isJoined = false;
    void* m_result = nullptr;
};

class ThreadEnd : public BusTest, public testing::WithParamInterface<Message> {
protected:
    // Lets the thread's callback run.
    void Send()
    {
        if (GetParam() != Message::kSignalToClient) {
            ASSERT_TRUE(WaitUntil([this] { return Logged("E m_NameAcquiredHandler: Registered on DBus"); }));
        }
        SyncSharedConnection();
        GVariant* body = g_variant_new("(is)", 5, kEmptyMessage);
        if (GetParam() == Message::kCall) {
            peer.Send(kChannelName, kChannelPath, kChannelName, kChannel, body);
        } else {
            peer.Emit(kChannelPath, kChannelName, kChannel, body);
        }
    }

    // Other receivers continue, and that of the thread can be ended.
    void ExpectNothingIsHeld(EndingThread& thread)
    {
        Deliveries deliveries;
        CQDEventReciever other(kChannel, false);
        other.RegisterEventCallback(6, &Deliveries::Callback, &deliveries);
        SyncSharedConnection();
        CQDEventSender(kChannel).SendEvent(6);
        EXPECT_TRUE(RunUntil([&] { return deliveries.Count() == 1; }));

        thread.receiver->UnregisterEventCallback(5);
        thread.receiver.reset();
        const std::vector<std::string> log = TakeLog();
        EXPECT_EQ(log.back(), "E ~CQDEventReciever: end");
        EXPECT_THAT(log, Each(Not(StartsWith("E m_ProcessHandleEvent: Exception"))));
    }

    Watchdog watchdog;
    BusPeer peer;
};

char g_result[] = "the result of the thread";

TEST_P(ThreadEnd, ByACallbackEndsNothingElse)
{
    EndingThread thread(
        GetParam(), [](void* result, srcwatch_event_s*) { pthread_exit(result); }, g_result);

    Send();

    EXPECT_EQ(thread.Join(), g_result);
    ExpectNothingIsHeld(thread);
}

// Never returns. The thread sanitizer's own pause() cannot be unwound.
void WaitForCancellation()
{
    for (;;) {
#if SRCWATCH_THREAD_SANITIZER
        pthread_testcancel();
#else
        pause();
#endif
    }
}

TEST_P(ThreadEnd, ByCancellationInACallbackEndsNothingElse)
{
    std::atomic<bool> isInside{false};
    EndingThread thread(
        GetParam(),
        [](void* flag, srcwatch_event_s*) {
            *static_cast<std::atomic<bool>*>(flag) = true;
            WaitForCancellation();
        },
        &isInside);

    Send();
    ASSERT_TRUE(WaitUntil([&] { return isInside.load(); }));
    thread.Cancel();

    EXPECT_EQ(thread.Join(), PTHREAD_CANCELED);
    ExpectNothingIsHeld(thread);
}

// Nothing else releases a receiver that its own callback deleted before.
TEST_P(ThreadEnd, ByACallbackThatDeletedItsReceiverEndsNothingElse)
{
    EndingThread thread(GetParam(), [](void* receiver, srcwatch_event_s*) {
        static_cast<std::unique_ptr<CQDEventReciever>*>(receiver)->reset();
        pthread_exit(g_result);
    });

    Send();

    EXPECT_EQ(thread.Join(), g_result);
    thread.receiver = std::make_unique<CQDEventReciever>(kChannel, false);
    ExpectNothingIsHeld(thread);
}

INSTANTIATE_TEST_SUITE_P(Messages, ThreadEnd,
                         testing::Values(Message::kSignalToClient, Message::kSignalToService, Message::kCall));

}  // namespace
