// SPDX-License-Identifier: Apache-2.0
//
// Waiting for what is to happen, with a limit of time.
#ifndef SRCWATCH_TESTKIT_WAITING_H
#define SRCWATCH_TESTKIT_WAITING_H

#include <chrono>
#include <functional>

#include <glib.h>

namespace srcwatch_test {

/// Long enough for a sanitized build on a busy machine; only failing tests wait that long.
constexpr std::chrono::milliseconds kDeadline(20000);

/// Runs the main context (the default one if null) until the condition holds. @return False if the deadline came
/// first.
bool RunUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline = kDeadline,
              GMainContext* context = nullptr);

/// Runs the default main context for a while, for what must not happen.
void RunFor(std::chrono::milliseconds time);

/// Waits, without running any main context, until the condition holds. @return False if the deadline came first.
bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline = kDeadline);

}  // namespace srcwatch_test

#endif
