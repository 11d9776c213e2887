// SPDX-License-Identifier: Apache-2.0
//
// A few small files as one, in the form that tar reads (POSIX.1-1988, ustar).
#ifndef SRCWATCH_PANEL_TAR_H
#define SRCWATCH_PANEL_TAR_H

#include <string>

namespace panel {

class Tar {
public:
    /// Adds a file. @param name  Of at most 99 bytes.
    void Add(const std::string& name, const std::string& bytes);

    /// Returns the whole archive.
    std::string Bytes() const;

private:
    std::string m_bytes;
};

}  // namespace panel

#endif
