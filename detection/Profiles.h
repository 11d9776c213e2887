// SPDX-License-Identifier: Apache-2.0
//
// Profiles of known devices: the names that they send, and what they are.
#ifndef SRCWATCH_DETECTION_PROFILES_H
#define SRCWATCH_DETECTION_PROFILES_H

#include <string>
#include <vector>

namespace srcwatch {

/// One device or family of devices. The patterns are globs (fnmatch) without regard to case; an empty one matches all.
struct Profile {
    std::string vendor;   ///< of the SPD InfoFrame
    std::string product;  ///< of the SPD InfoFrame
    std::string osd;      ///< the OSD name of HDMI-CEC

    int type = 0;
    std::string brand;
    std::string device;
    std::string provider;
    std::string codeset;
};

/// The reason for which a file or one of its entries is not used.
struct ProfileError {
    std::string file;
    int entry = -1;  ///< index in the file's "profiles"; -1 for the file as a whole
    std::string reason;

    /// "FILE: entry N: reason"
    std::string Text() const;
};

/// Profiles in the order of their precedence: the first that matches wins.
class Profiles {
public:
    /// Adds the profiles of a JSON file, or of all files "*.json" of a directory in the order of their names. Malformed
    /// entries are left out and become errors; so does a file or directory that does not exist.
    void Load(const std::string& path);

    /// Adds the profiles of a JSON text; file names it in errors.
    void LoadText(const std::string& text, const std::string& file);

    /// Returns the first that matches these names, or null. Valid until the next load.
    const Profile* Find(const std::string& vendor, const std::string& product, const std::string& osd) const;

    std::size_t Count() const { return m_profiles.size(); }
    const std::vector<ProfileError>& Errors() const { return m_errors; }

private:
    void LoadFile(const std::string& path);
    void LoadDirectory(const std::string& path);

    std::vector<Profile> m_profiles;
    std::vector<ProfileError> m_errors;
};

}  // namespace srcwatch

#endif
