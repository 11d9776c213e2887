// SPDX-License-Identifier: Apache-2.0
//
// Several back ends as one.
#ifndef SRCWATCH_SERVICE_COMBINEDINPUTS_H
#define SRCWATCH_SERVICE_COMBINEDINPUTS_H

#include "InputBackEnd.h"

#include <functional>
#include <memory>
#include <vector>

namespace srcwatch {

/**
 * A port is plugged if one of the back ends says so. If several do, each item of its evidence is that of the first one
 * that has it, and when one of them no longer says so, the rest is detected again.
 */
class CombinedInputs : public InputBackEnd {
public:
    explicit CombinedInputs(std::vector<std::unique_ptr<InputBackEnd>> backEnds);

    std::string Start(InputListener& listener) override;
    bool IsPlugged(int port) const override;
    Evidence ReadEvidence(int port) const override;
    Capture ReadCapture(int port) const override;
    void Refresh(int port) override;
    bool IsSettling(int port) const override;
    void CancelSettling(int port) override;
    void SettleLater(int port) override;

private:
    // What one back end reports.
    class Member : public InputListener {
    public:
        Member(CombinedInputs& owner, std::unique_ptr<InputBackEnd> backEnd);
        InputBackEnd& BackEnd() { return *m_backEnd; }
        const InputBackEnd& BackEnd() const { return *m_backEnd; }

    private:
        void OnPlugged(int port) override;
        void OnUnplugged(int port) override;
        void OnSettled(int port) override { m_owner.m_listener->OnSettled(port); }
        void OnInputsLost(const std::string& reason) override { m_owner.m_listener->OnInputsLost(reason); }

        CombinedInputs& m_owner;
        const std::unique_ptr<InputBackEnd> m_backEnd;
    };

    int CountPlugged(int port) const;

    std::vector<std::unique_ptr<Member>> m_members;
    InputListener* m_listener = nullptr;
};

}  // namespace srcwatch

#endif
