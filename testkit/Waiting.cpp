// SPDX-License-Identifier: Apache-2.0
#include "Waiting.h"

#include <thread>

namespace srcwatch_test {

bool RunUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline, GMainContext* context)
{
    // The condition may come true in another thread, which does not wake this one.
    GSource* tick = g_timeout_source_new(2);
    g_source_set_callback(
        tick, [](void*) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr, nullptr);
    g_source_attach(tick, context);
    const auto end = std::chrono::steady_clock::now() + deadline;
    bool isMet = condition();
    while (!isMet && std::chrono::steady_clock::now() < end) {
        g_main_context_iteration(context, TRUE);
        isMet = condition();
    }
    g_source_destroy(tick);
    g_source_unref(tick);
    return isMet;
}

void RunFor(std::chrono::milliseconds time)
{
    static_cast<void>(RunUntil([] { return false; }, time));  // false, always
}

bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline)
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace srcwatch_test
