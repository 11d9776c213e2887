// SPDX-License-Identifier: Apache-2.0
//
// Programs that send events of type 10 while the process ends, with the shared library and the host platform:
//   exit-program ENDING
// The events are numbered from 0; those of threads, of which there is any number, are not.
#include "QDInfoEventManager.h"
#include "srcwatch-api.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include <sys/prctl.h>

namespace {

using qdinfo::CQDEventSender;

int g_next = 0;

void Send(CQDEventSender& sender) { sender.SendEvent(10, g_next++, 0, 0); }

void SendOne()
{
    CQDEventSender sender("");
    Send(sender);
}

// Lasts as long as the process, and is not destroyed.
CQDEventSender& LastingSender()
{
    static auto& sender = *new CQDEventSender("");
    return sender;
}

// Constructed before main; its destructor comes after all exit handlers.
class SendsWhenDestroyed {
public:
    SendsWhenDestroyed() = default;
    SendsWhenDestroyed(const SendsWhenDestroyed&) = delete;
    SendsWhenDestroyed& operator=(const SendsWhenDestroyed&) = delete;
    ~SendsWhenDestroyed()
    {
        if (m_send) m_send();
    }
    void SetUp(std::function<void()> send) { m_send = std::move(send); }

private:
    std::function<void()> m_send;
};
SendsWhenDestroyed g_static;

bool g_isAfterDestructors = false;

// Comes after the destructors of static objects.
__attribute__((destructor)) void SendAfterDestructors()
{
    if (g_isAfterDestructors) SendOne();
}

// Returns when each thread has gone through its body once.
void StartThreads(void (*body)())
{
    static std::atomic<int> begun{0};
    constexpr int kThreads = 4;
    for (int thread = 0; thread < kThreads; ++thread) {
        std::thread([body] {
            body();
            ++begun;
            for (;;) body();
        }).detach();
    }
    while (begun < kThreads) std::this_thread::yield();
}

// The signal that a test sends, which is blocked in all threads.
sigset_t TestSignal()
{
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGUSR1);
    return signals;
}

// Sends one event, and the others when the signal arrives: more than a bus that hangs takes.
void SendManyOnSignal()
{
    const sigset_t signals = TestSignal();
    Send(LastingSender());
    int received = 0;
    sigwait(&signals, &received);
    for (int i = 0; i < 600; ++i) Send(LastingSender());
}

struct Ending {
    const char* name;
    void (*prepare)();
};

constexpr Ending kEndings[] = {
    {"handler",
     [] {
         SendOne();
         std::atexit(&SendOne);
     }},
    {"handler-first",
     [] {
         std::atexit(&SendOne);
         SendOne();
     }},
    {"handlers",
     [] {
         for (int i = 0; i < 3; ++i) std::atexit(&SendOne);
         SendOne();
         for (int i = 0; i < 3; ++i) std::atexit(&SendOne);
     }},
    {"handler-only", [] { std::atexit(&SendOne); }},
    {"handler-in-handler",
     [] {
         SendOne();
         std::atexit([] {
             SendOne();
             std::atexit(&SendOne);
         });
     }},
    {"lasting",
     [] {
         std::atexit([] { Send(LastingSender()); });
         Send(LastingSender());
         std::atexit([] { Send(LastingSender()); });
     }},
    {"lasting-only", [] { std::atexit([] { Send(LastingSender()); }); }},
    {"static",
     [] {
         static CQDEventSender sender("");
         std::atexit([] { Send(sender); });  // before the sender is destroyed
         Send(sender);
     }},
    {"static-only",
     [] {
         static CQDEventSender sender("");
         std::atexit([] { Send(sender); });
     }},
    {"destructor",
     [] {
         SendOne();
         g_static.SetUp(&SendOne);
     }},
    {"destructor-only", [] { g_static.SetUp(&SendOne); }},
    {"destructor-lasting",
     [] {
         Send(LastingSender());
         g_static.SetUp([] { Send(LastingSender()); });
     }},
    {"after-destructors",
     [] {
         SendOne();
         g_isAfterDestructors = true;
     }},
    {"thread",
     [] {
         std::thread(&SendOne).join();
         std::atexit([] { std::thread(&SendOne).join(); });
     }},
    {"many", [] { SendManyOnSignal(); }},
    {"many-and-handlers",
     [] {
         for (int i = 0; i < 3; ++i) std::atexit(&SendOne);
         SendManyOnSignal();
         for (int i = 0; i < 3; ++i) std::atexit(&SendOne);
     }},
    {"many-and-static",
     [] {
         Send(LastingSender());
         static CQDEventSender sender("");  // destroyed before the library's handler runs
         Send(sender);
         SendManyOnSignal();
     }},
    {"threads", [] { StartThreads([] { CQDEventSender("").SendEvent(10); }); }},
    {"threads-lasting", [] { StartThreads([] { LastingSender().SendEvent(10); }); }},
    {"threads-announcing", [] { StartThreads([] { srcwatch_set_source_info(0, 0); }); }},
};

}  // namespace

int main(int argc, char** argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const sigset_t signals = TestSignal();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const std::string name = argc == 2 ? argv[1] : "";
    for (const Ending& ending : kEndings) {
        if (name != ending.name) continue;
        ending.prepare();
        return 0;
    }
    return 2;
}
