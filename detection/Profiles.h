// SPDX-License-Identifier: Apache-2.0
//
// Profiles of known devices: the names that they send, and what they are.
#ifndef SRCWATCH_DETECTION_PROFILES_H
#define SRCWATCH_DETECTION_PROFILES_H

#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace srcwatch {

/// What a device says about itself; empty where it does not.
struct Signs {
    std::string vendor;                    ///< of the SPD InfoFrame
    std::string product;                   ///< of the SPD InfoFrame
    std::string osd;                       ///< the OSD name of HDMI-CEC
    std::string vendorId;                  ///< of HDMI-CEC, six hexadecimal digits
    std::string physicalAddress;           ///< of HDMI-CEC, in the form "1.0.0.0"
    std::string aksv;                      ///< ten hexadecimal digits
    std::optional<int> sourceInformation;  ///< of the SPD InfoFrame
    std::optional<int> deviceType;         ///< the primary device type of HDMI-CEC
};

/// One device or family of devices.
struct Profile {
    std::string file;
    int entry = 0;  ///< index in the file's "profiles"
    Signs match;    ///< globs (see Glob.h); of the AKSV how it begins. What is empty matches all.

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

/// Returns the places of the installed profiles, the first to win first: the integrator's directory, unless there is
/// none, and the file that comes with the programs. A directory that cannot be examined is reported when it is read.
std::vector<std::string> InstalledProfiles(const std::string& directory, const std::string& file);

/// Returns the files of a directory of profiles, in the order in which they are read.
std::vector<std::string> ListProfiles(const std::string& directory, std::error_code& error);

/// Profiles in the order of their precedence: the first that matches wins.
class Profiles {
public:
    /// Adds the profiles of a JSON file, or of all files "*.json" of a directory in the order of their names. Entries
    /// that are malformed, or never can match, are left out and become errors; so does a file or directory that does
    /// not exist.
    void Load(const std::string& path);

    /// Adds the profiles of a JSON text; file names it in errors.
    void LoadText(const std::string& text, const std::string& file);

    /// Returns the first that matches, or null. Valid until the next load.
    const Profile* Find(const Signs& signs) const;

    std::size_t Count() const { return m_profiles.size(); }
    const std::vector<ProfileError>& Errors() const { return m_errors; }
    /// Returns false if something could not be read that may be readable later.
    bool IsComplete() const { return m_isComplete; }

private:
    void LoadFile(const std::string& path);
    void LoadDirectory(const std::string& path);

    std::vector<Profile> m_profiles;
    std::vector<ProfileError> m_errors;
    bool m_isComplete = true;
};

}  // namespace srcwatch

#endif
