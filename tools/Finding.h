// SPDX-License-Identifier: Apache-2.0
//
// What a check of the command doctor found.
#ifndef SRCWATCH_TOOLS_FINDING_H
#define SRCWATCH_TOOLS_FINDING_H

#include <string>

namespace ctl {

struct Finding {
    bool isGood;
    std::string detail;
    std::string remedy;  ///< what helps; empty if nothing is wrong
};

inline Finding Good(const std::string& detail) { return {true, detail, ""}; }
inline Finding Bad(const std::string& detail, const std::string& remedy) { return {false, detail, remedy}; }

}  // namespace ctl

#endif
