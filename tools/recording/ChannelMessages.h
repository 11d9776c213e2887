// SPDX-License-Identifier: Apache-2.0
//
// Messages of the bus as entries of a recording.
#ifndef SRCWATCH_TOOLS_CHANNELMESSAGES_H
#define SRCWATCH_TOOLS_CHANNELMESSAGES_H

#include <map>
#include <optional>
#include <string>
#include <utility>

#include <gio/gio.h>
#include <json/value.h>

namespace ctl {

/// Returns true if a message is an event of the channel, a call of its method, or may be the reply to one.
bool MayBeOfChannel(GDBusMessage* message);

class ChannelMessages {
public:
    /// Returns the entry of a message, without its times: an event, a call, or the reply to a call that was seen.
    /// Nothing for all others.
    std::optional<Json::Value> EntryOf(GDBusMessage* message);

private:
    std::optional<Json::Value> ReplyEntry(GDBusMessage* message);

    std::map<std::pair<std::string, unsigned>, int> m_unanswered;  // calls, by caller and serial number
    int m_calls = 0;
};

}  // namespace ctl

#endif
