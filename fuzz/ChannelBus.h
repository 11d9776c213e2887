// SPDX-License-Identifier: Apache-2.0
//
// GDBus's functions as far as the event channel calls them, without a bus: what the library registers is kept, what it
// sends is kept, and nothing leaves the process. So a message costs microseconds, and its bytes may be any.
#ifndef SRCWATCH_FUZZ_CHANNELBUS_H
#define SRCWATCH_FUZZ_CHANNELBUS_H

#include <cstdint>
#include <string>

namespace fuzz {

/// The body of a message, as far as the library uses it.
struct Body {
    std::int32_t type = 0;
    std::string text;
};

/// Brings the receiver that was constructed last to its bus, as GLib would when its main loop runs.
void AcquireBus();

/// Delivers a signal to that receiver. The text may be anything but has no zeros.
void DeliverSignal(const Body& body);

/// Calls the method of that receiver; gives the reply.
std::string CallMethod(const Body& body);

/// The signal that the library sent last.
const Body& Emitted();

}  // namespace fuzz

#endif
