// SPDX-License-Identifier: Apache-2.0
//
// Stands between the library and GIO in a test program: keeps what the library asked for, lets single calls fail,
// and shows the handlers that the library left with GIO. Everything else goes on to GIO.
#ifndef SRCWATCH_TESTS_GIOPROBE_H
#define SRCWATCH_TESTS_GIOPROBE_H

#include <functional>
#include <string>
#include <vector>

#pragma GCC visibility push(default)  // so that a shared library takes what GioProbe.cpp defines
#include <gio/gio.h>
#pragma GCC visibility pop

namespace srcwatch_test {

struct GioProbe {
    std::vector<std::string> calls;  ///< "emit_signal - /path interface member", in order

    bool failSubscribe = false;
    bool failRegisterObject = false;
    bool failOwnName = false;
    std::function<void()> beforeRegisterObject;  ///< called once
    std::function<void()> beforeUnsubscribe;     ///< called once
    std::function<void()> beforeUnownName;       ///< called once

    /// The handlers, and the data that belongs to them.
    GBusAcquiredCallback busAcquired = nullptr;
    GBusNameAcquiredCallback nameAcquired = nullptr;
    GBusNameLostCallback nameLost = nullptr;
    GDBusSignalCallback signal = nullptr;
    GDBusInterfaceMethodCallFunc methodCall = nullptr;
    void* receiver = nullptr;

    std::size_t methodCalls = 0;  ///< that the handler got

    /// What a method call is turned into before the library's handler gets it.
    const char* method = nullptr;     ///< another method name
    std::function<GVariant*()> body;  ///< another body
};

/// Not synchronised: for tests that use one thread.
GioProbe& TheGioProbe();

}  // namespace srcwatch_test

#endif
