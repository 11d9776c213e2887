// SPDX-License-Identifier: Apache-2.0
//
// Where the other programs and the data are: beside this program, where it is installed, or in the build tree that this
// program lies in.
#ifndef SRCWATCH_SANDBOX_INSTALLATION_H
#define SRCWATCH_SANDBOX_INSTALLATION_H

#include <string>

namespace sandbox {

struct Installation {
    std::string tools;     ///< directory of srcwatchctl in a build tree; empty where it is installed
    std::string service;   ///< the detection service's program
    std::string profiles;  ///< its profiles; empty for those that it loads by itself
    std::string captures;  ///< directory of the captures; the environment variable SRCWATCH_CAPTURES, if it is set
};

Installation FindInstallation();

}  // namespace sandbox

#endif
