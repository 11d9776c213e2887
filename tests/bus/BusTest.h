// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the event channel share: a bus that runs, the library's log, and what a callback received.
#ifndef SRCWATCH_TESTS_BUSTEST_H
#define SRCWATCH_TESTS_BUSTEST_H

#include "BusPeer.h"
#include "PlatformTest.h"
#include "QDInfoEventManager.h"

#include <array>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace srcwatch_test {

constexpr char kChannel[] = "qdinfo";
constexpr char kChannelName[] = "org.nalto.tv.qdinfo";  // bus name and interface
constexpr char kChannelPath[] = "/org/nalto/tv/qdinfo";
constexpr char kChannelLine[] = "/org/nalto/tv/qdinfo org.nalto.tv.qdinfo";

/// The message of an event without a number and a text.
constexpr char kEmptyMessage[] = "0\t0\t0\t0\t0\t0\t0\t0\t0\t0\tUNKNOWN\tUNKNOWN\tUNKNOWN\t";

using Numbers = std::array<int, 10>;
using Texts = std::array<std::string, 3>;

/// An event with these numbers and texts; a text fills its field if it has 100 bytes or more.
srcwatch_event_s EventOf(const Numbers& numbers, const Texts& texts);

/// An independent writer of messages.
std::string MessageOf(const Numbers& numbers, const Texts& texts);

/// What a receiver handed to a callback.
struct Delivery {
    srcwatch_event_s event{};
    std::string rest;  ///< what was left in the request stream
    bool hasStreams = false;
};

/// Collects the events of the callback that it is. Callable from any thread.
class Deliveries {
public:
    static void Callback(void* deliveries, srcwatch_event_s* event);

    std::size_t Count() const;
    std::vector<Delivery> All() const;
    Delivery Last() const;  // an empty one if there is none

private:
    mutable std::mutex m_mutex;
    std::vector<Delivery> m_deliveries;
};

/// The streams of an event.
inline std::stringstream& ReplyOf(srcwatch_event_s* event)
{
    return *static_cast<std::stringstream*>(event->ptr_args[0]);
}
inline std::stringstream& RequestOf(srcwatch_event_s* event)
{
    return *static_cast<std::stringstream*>(event->ptr_args[1]);
}

/// Runs the main loop while anything is ready, and waits for nothing.
void RunPending();

/// Watches the process's shared connection. GLib makes a new one only when the old one is not held any more, not even
/// by its own thread, and hands out the old one until then, even when it is closed.
class SharedConnectionWatch {
public:
    SharedConnectionWatch();
    SharedConnectionWatch(const SharedConnectionWatch&) = delete;
    SharedConnectionWatch& operator=(const SharedConnectionWatch&) = delete;
    ~SharedConnectionWatch() { g_weak_ref_clear(&m_connection); }

    bool RunUntilGone();

private:
    GWeakRef m_connection;
};

/// Starts each test with a bus that runs and with an empty platform in memory.
class BusTest : public PlatformTest {
protected:
    BusTest();
    ~BusTest() override;

    /// The lines of the event channel since the last call, as "E m_Connect: text" ("D" at DEBUG).
    std::vector<std::string> TakeLog();
    /// Returns true if that line is in the log, which stays as it is.
    bool Logged(const std::string& line);
    std::size_t TimesLogged(const std::string& line);

    /// Ends the bus, and waits until GLib has let go of a shared connection that nobody uses any more: another thread
    /// may hold it for a while.
    static void EndBus();
    /// Waits until the bus has handled all that the process's shared connection sent.
    static void SyncSharedConnection();
    /// Runs the main loop until a service-side receiver owns its name.
    bool RunUntilNameAcquired(std::size_t times = 1);
    /// GLib's warnings and criticals since the last call.
    static std::vector<std::string> TakeGlibMessages();
};

}  // namespace srcwatch_test

#endif
