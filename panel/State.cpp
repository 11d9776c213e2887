// SPDX-License-Identifier: Apache-2.0
#include "State.h"

#include <utility>

namespace panel {

namespace {

constexpr char kPorts[] = "ports";

// Twice as many are held before the oldest half goes, so that adding one is cheap.
void Add(Json::Value& list, const Json::Value& line)
{
    list.append(line);
    if (list.size() <= 2 * State::kMostLines) return;
    Json::Value kept(Json::arrayValue);
    for (Json::ArrayIndex i = list.size() - State::kMostLines; i < list.size(); ++i) kept.append(std::move(list[i]));
    list = std::move(kept);
}

Json::Value Last(const Json::Value& list)
{
    Json::Value last(Json::arrayValue);
    const Json::ArrayIndex begin = list.size() > State::kMostLines ? list.size() - State::kMostLines : 0;
    for (Json::ArrayIndex i = begin; i < list.size(); ++i) last.append(list[i]);
    return last;
}

}  // namespace

State::State() : m_members(Json::objectValue), m_lists{{"events", Json::arrayValue}, {"log", Json::arrayValue}} {}

void State::Set(const std::string& name, const Json::Value& value)
{
    if (m_members.isMember(name) && m_members[name] == value) return;
    m_members[name] = value;
    m_change[name] = value;
}

void State::SetPort(const Json::Value& port)
{
    Json::Value& kept = m_ports[port["port"].asInt()];
    if (kept == port) return;
    kept = port;
    Json::Value& changed = m_change[kPorts];
    for (Json::Value& each : changed) {
        if (each["port"] != port["port"]) continue;
        each = port;
        return;
    }
    changed.append(port);
}

void State::Append(const std::string& name, const Json::Value& line)
{
    Add(m_lists.at(name), line);
    Add(m_change[name], line);
}

Json::Value State::Snapshot() const
{
    Json::Value state = m_members;
    state[kPorts] = Json::arrayValue;
    for (const auto& [number, port] : m_ports) state[kPorts].append(port);
    for (const auto& [name, list] : m_lists) state[name] = Last(list);
    return state;
}

Json::Value State::TakeChange()
{
    Json::Value change = std::exchange(m_change, Json::Value());
    for (const auto& [name, list] : m_lists) {
        if (change.isMember(name)) change[name] = Last(change[name]);
    }
    return change;
}

}  // namespace panel
