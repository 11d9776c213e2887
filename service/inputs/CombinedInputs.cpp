// SPDX-License-Identifier: Apache-2.0
#include "CombinedInputs.h"

#include <algorithm>
#include <utility>

namespace srcwatch {

namespace {

template <typename T>
void TakeIfAbsent(std::optional<T>& item, std::optional<T>&& other)
{
    if (!item) item = std::move(other);
}

void Merge(Evidence& evidence, Evidence&& other)
{
    TakeIfAbsent(evidence.spd, std::move(other.spd));
    TakeIfAbsent(evidence.cec, std::move(other.cec));
    TakeIfAbsent(evidence.aksv, std::move(other.aksv));
    evidence.directory.insert(evidence.directory.end(), other.directory.begin(), other.directory.end());
    evidence.otherFiles.insert(evidence.otherFiles.end(), other.otherFiles.begin(), other.otherFiles.end());
    evidence.isComplete = evidence.isComplete && other.isComplete;
}

}  // namespace

CombinedInputs::Member::Member(CombinedInputs& owner, std::unique_ptr<InputBackEnd> backEnd)
    : m_owner(owner), m_backEnd(std::move(backEnd))
{
}

// The evidence of a port that was plugged already comes with OnSettled().
void CombinedInputs::Member::OnPlugged(int port)
{
    if (m_owner.CountPlugged(port) == 1) m_owner.m_listener->OnPlugged(port);
}

void CombinedInputs::Member::OnUnplugged(int port)
{
    if (!m_owner.IsPlugged(port)) return m_owner.m_listener->OnUnplugged(port);
    if (!m_owner.IsSettling(port)) m_owner.m_listener->OnSettled(port);
}

CombinedInputs::CombinedInputs(std::vector<std::unique_ptr<InputBackEnd>> backEnds)
{
    for (auto& backEnd : backEnds) m_members.push_back(std::make_unique<Member>(*this, std::move(backEnd)));
}

std::string CombinedInputs::Start(InputListener& listener)
{
    m_listener = &listener;
    for (const auto& member : m_members) {
        std::string failure = member->BackEnd().Start(*member);
        if (!failure.empty()) return failure;
    }
    return "";
}

int CombinedInputs::CountPlugged(int port) const
{
    return static_cast<int>(std::count_if(m_members.begin(), m_members.end(),
                                          [&](const auto& member) { return member->BackEnd().IsPlugged(port); }));
}

bool CombinedInputs::IsPlugged(int port) const { return CountPlugged(port) > 0; }

Evidence CombinedInputs::ReadEvidence(int port) const
{
    std::optional<Evidence> evidence;
    for (const auto& member : m_members) {
        if (!member->BackEnd().IsPlugged(port)) continue;
        Evidence other = member->BackEnd().ReadEvidence(port);
        if (!evidence) {
            evidence = std::move(other);
        } else {
            Merge(*evidence, std::move(other));
        }
    }
    return evidence.value_or(Evidence());
}

Capture CombinedInputs::ReadCapture(int port) const
{
    Capture capture;
    for (const auto& member : m_members) {
        if (!member->BackEnd().IsPlugged(port)) continue;
        const Capture other = member->BackEnd().ReadCapture(port);
        if (capture.spd.empty()) capture.spd = other.spd;
        if (capture.cec.empty()) capture.cec = other.cec;
        if (capture.aksv.empty()) capture.aksv = other.aksv;
    }
    return capture;
}

void CombinedInputs::Refresh(int port)
{
    for (const auto& member : m_members) member->BackEnd().Refresh(port);
}

bool CombinedInputs::IsSettling(int port) const
{
    return std::any_of(m_members.begin(), m_members.end(),
                       [&](const auto& member) { return member->BackEnd().IsSettling(port); });
}

void CombinedInputs::CancelSettling(int port)
{
    for (const auto& member : m_members) member->BackEnd().CancelSettling(port);
}

void CombinedInputs::SettleLater(int port)
{
    for (const auto& member : m_members) {
        if (member->BackEnd().IsPlugged(port)) return member->BackEnd().SettleLater(port);
    }
}

}  // namespace srcwatch
