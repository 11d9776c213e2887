// SPDX-License-Identifier: Apache-2.0
//
// The doctor's checks of the bus and of the service on it.
#ifndef SRCWATCH_TOOLS_BUSCHECKS_H
#define SRCWATCH_TOOLS_BUSCHECKS_H

#include "Bus.h"
#include "Finding.h"

#include <optional>
#include <string>

#include <sys/types.h>

namespace ctl {

/// What the checks look at, found out once.
struct BusView {
    std::string failure;            ///< why the bus cannot be used; empty if it can, and only then the rest is known
    std::string name;               ///< of this process on the bus
    std::string policyFile;         ///< empty if there is none
    std::optional<BusOwner> owner;  ///< of the service's name
    ServiceAnswer answer = ServiceAnswer::kGone;
    bool isHung = false;
    bool isSystemBus = false;
    bool areEventsDelivered = false;
    bool maySend = false;  ///< this user, by the policy
};

/// Looks at the bus, which takes some seconds if the service or the bus does not answer.
BusView LookAtBus();

/// Returns the service's user: that of the one which runs, or else the packages'; -1 if there is neither.
uid_t ServiceUser(const BusView& bus);

Finding CheckBus(const BusView& bus);
Finding CheckName(const BusView& bus);
Finding CheckAnswer(const BusView& bus);
Finding CheckGroup(const BusView& bus);
Finding CheckPolicy(const BusView& bus);
Finding CheckEvents(const BusView& bus);

}  // namespace ctl

#endif
