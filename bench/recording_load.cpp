// SPDX-License-Identifier: Apache-2.0
//
// recording_load COUNT: sends this many events and makes this many writes of settings, in turn, and prints the
// processor time of the writes in nanoseconds.
#include "QDInfoEventManager.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>

#include <vconf.h>

namespace {

constexpr int kBurst = 100;  // a service sends far fewer at once
constexpr std::chrono::milliseconds kPause(5);

long long ProcessorTime()
{
    timespec time{};
    static_cast<void>(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time));  // cannot fail
    return time.tv_sec * 1'000'000'000LL + time.tv_nsec;
}

}  // namespace

int main(int argc, char** argv)
{
    const int count = argc == 2 ? std::atoi(argv[1]) : 0;
    long long writing = 0;
    for (int sent = 0; sent < count;) {
        qdinfo::CQDEventSender sender("qdinfo");  // flushes when it ends
        sender.AppendArgs("Desk 5", "Marrowic", "");
        for (int i = 0; i < kBurst && sent < count; ++i, ++sent) {
            sender.SendEvent(SRCWATCH_EVENT_DETECTED, sent, 9, 1);
            const long long before = ProcessorTime();
            if (vconf_set_int("memory/bench/recording", sent) != 0) return 1;
            writing += ProcessorTime() - before;
        }
        std::this_thread::sleep_for(kPause);
    }
    std::printf("%lld\n", writing);
    return 0;
}
