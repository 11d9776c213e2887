// SPDX-License-Identifier: Apache-2.0
#ifndef SRCWATCH_FUZZ_PLACE_H
#define SRCWATCH_FUZZ_PLACE_H

#include "Fuzz.h"

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

namespace fuzz {

/// A directory in memory, where the machine has a file system there, that is removed with all that lies in it when the
/// program ends; after a finding, with TMPDIR.
class Place {
public:
    Place()
    {
        const char* const temporary = std::getenv("TMPDIR");
        m_path = temporary != nullptr ? temporary : access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        m_path += "/srcwatch-fuzz-XXXXXX";
        Require(mkdtemp(m_path.data()) != nullptr, "a place for the files");
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place()
    {
        std::error_code ignored;  // nothing more can be done about what stays
        std::filesystem::remove_all(m_path, ignored);
    }

    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace fuzz

#endif
