// SPDX-License-Identifier: Apache-2.0
//
// What pages show, as one object, and what of it has changed. Only what differs is sent.
#ifndef SRCWATCH_PANEL_STATE_H
#define SRCWATCH_PANEL_STATE_H

#include <cstddef>
#include <map>
#include <string>

#include <json/value.h>

namespace panel {

class State {
public:
    static constexpr Json::ArrayIndex kMostLines = 500;  ///< of each list that grows

    State();

    /// Replaces a member.
    void Set(const std::string& name, const Json::Value& value);

    /// Replaces the port with the same number, or adds: the member "ports" is a list of them.
    void SetPort(const Json::Value& port);

    /// Adds to a list of which the last ones are kept: "events", "log".
    void Append(const std::string& name, const Json::Value& line);

    /// Returns the whole state.
    Json::Value Snapshot() const;

    /// Returns the members that have changed since the last call, of "ports" those that have, and of lists what was
    /// added; null if nothing has.
    Json::Value TakeChange();

private:
    Json::Value m_members;
    std::map<int, Json::Value> m_ports;  // in their order
    std::map<std::string, Json::Value> m_lists;
    Json::Value m_change;
};

}  // namespace panel

#endif
