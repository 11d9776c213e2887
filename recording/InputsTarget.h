// SPDX-License-Identifier: Apache-2.0
//
// Plugs the devices of a recording into the inputs directory of a detection service, and unplugs them.
#ifndef SRCWATCH_RECORDING_INPUTSTARGET_H
#define SRCWATCH_RECORDING_INPUTSTARGET_H

#include "InputsDirectory.h"
#include "Player.h"

#include <map>

namespace srcwatch {

class InputsTarget : public PlayTarget {
public:
    explicit InputsTarget(InputsDirectory inputs) : m_inputs(std::move(inputs)) {}

    bool Wants(const Json::Value& entry) const override;
    void Apply(const Json::Value& entry) override;
    void Settle() override;

protected:
    /// Returns false for a port that is passed over.
    virtual bool MayPlug(int port) const = 0;
    /// Gets what became of a change.
    virtual void Check(const InputOutcome& outcome) const = 0;

private:
    InputOutcome Set(int port, const Json::Value& capture) const;

    const InputsDirectory m_inputs;
    std::map<int, Json::Value> m_wanted;  // captures, as of the entries
    std::map<int, Json::Value> m_set;
};

}  // namespace srcwatch

#endif
