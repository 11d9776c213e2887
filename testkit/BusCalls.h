// SPDX-License-Identifier: Apache-2.0
//
// Calls of the message bus itself.
#ifndef SRCWATCH_TESTKIT_BUSCALLS_H
#define SRCWATCH_TESTKIT_BUSCALLS_H

#include "Handle.h"

#include <gio/gio.h>

namespace srcwatch_test {

using Reply = srcwatch::Handle<GVariant, g_variant_unref>;

/// Calls a method of the bus, on the process's shared connection, and so after all that was sent there. Throws
/// std::runtime_error if there is no bus; takes floating arguments. @return Null if the bus replies with an error.
Reply AskBus(const char* method, GVariant* arguments);

/// Returns true if this process owns a name on the bus.
bool OwnsName(const char* name);

}  // namespace srcwatch_test

#endif
