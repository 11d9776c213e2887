// SPDX-License-Identifier: Apache-2.0
//
// What the service has to do, and how: by its command line, by the environment, and by a file.
#ifndef SRCWATCH_SERVICE_CONFIGURATION_H
#define SRCWATCH_SERVICE_CONFIGURATION_H

#include "Origin.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace srcwatch {

struct Options {
    std::string inputs;                    ///< directory; empty for none
    std::vector<std::string> cecAdapters;  ///< devices
    std::map<int, std::string> spdFiles;   ///< by port
    std::vector<std::string> receivers;    ///< video devices that report +5 V
    std::vector<std::string> profiles;
    std::string detections;  ///< file of detections, "-" for standard output; empty for none
    Origin origin;           ///< of the lines in it
    unsigned scanStepMilliseconds = 400;
    unsigned quietMilliseconds = 100;
    unsigned cecRoundMilliseconds = 5000;

    bool HasInputs() const
    {
        return !inputs.empty() || !cecAdapters.empty() || !spdFiles.empty() || !receivers.empty();
    }
};

struct Configuration {
    Options options;
    std::map<std::string, std::vector<std::string>> given;  ///< the options that were given, by name, as texts
    std::string file;                                       ///< that was read; empty for none
    std::vector<std::string> faults;                        ///< of the file and what it names, one line each
    bool isToBeChecked = false;                             ///< and not to be served by
    std::optional<int> exitCode;                            ///< of a program that has nothing more to do
};

/// Reads the command line, the environment and the file; of an option that several of them have, the first one counts.
/// Wrong usage, help and version are printed.
Configuration ReadConfiguration(int argc, const char* const* argv);

/// The options that differ, by name and separated by ", ".
struct Differences {
    std::string adopted;
    std::string waiting;  ///< until the service is started again
};

/// Makes what can change while the service runs as it is in another configuration.
Differences Adopt(const Configuration& other, Configuration& running);

}  // namespace srcwatch

#endif
