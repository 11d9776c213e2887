// SPDX-License-Identifier: Apache-2.0
//
// A key file as groups of keys with texts. What the keys mean is not known here.
#ifndef SRCWATCH_SERVICE_KEYFILE_H
#define SRCWATCH_SERVICE_KEYFILE_H

#include <string>
#include <vector>

namespace srcwatch {

struct KeyFileEntry {
    std::string group;
    std::string key;
    std::string text;
    std::vector<std::string> list;  ///< the text as values separated by ';'
};

struct KeyFile {
    std::vector<std::string> groups;
    std::vector<KeyFileEntry> entries;
    std::vector<std::string>
        faults;             ///< of what could not be read, one line each: "FILE: what", "FILE:GROUP/KEY: what"
    bool isAbsent = false;  ///< there is no such file, which is also a fault
};

KeyFile ReadKeyFile(const std::string& path);

}  // namespace srcwatch

#endif
