// SPDX-License-Identifier: Apache-2.0
//
// A program that is started, and dies with who started it.
#ifndef SRCWATCH_SANDBOX_CHILD_H
#define SRCWATCH_SANDBOX_CHILD_H

#include <csignal>
#include <string>
#include <vector>

#include <sys/types.h>

namespace sandbox {

struct Command {
    std::vector<std::string> words;  ///< the first is the program, found by PATH
    bool isDaemon = false;           ///< with a session of its own, apart from the terminal
    std::string variable = {};       ///< set in its environment: "NAME=VALUE", if not empty
    std::string errors = {};         ///< a daemon's file for all that it writes; standard error if empty
};

/// Starts a program with these signals blocked. Returns -1 and sets errno if that fails.
pid_t Start(const Command& command, const sigset_t& blocked);

}  // namespace sandbox

#endif
