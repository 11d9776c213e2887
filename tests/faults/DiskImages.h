// SPDX-License-Identifier: Apache-2.0
//
// What a disk may hold after a power cut: all that was synchronised, and of the rest any part. A later write may have
// arrived and an earlier one not, and of each only some sectors.
#ifndef SRCWATCH_TESTS_DISKIMAGES_H
#define SRCWATCH_TESTS_DISKIMAGES_H

#include "FileRecorder.h"

#include <map>
#include <random>
#include <string>
#include <vector>

namespace srcwatch_test {

/// The content of the files by name.
using DiskImage = std::map<std::string, std::string>;

/// What becomes of writes that were not synchronised.
enum class Unsynced {
    kLost,       // all of them
    kKept,       // none: as after a kill
    kReordered,  // each arrives whole or not at all
    kTorn,       // each sector arrives or does not
};
constexpr Unsynced kUnsyncedKinds[] = {Unsynced::kLost, Unsynced::kKept, Unsynced::kReordered, Unsynced::kTorn};

/// A disk to which recorded events happen.
class Disk {
public:
    /// @param obeysSync  Whether synchronising does anything.
    explicit Disk(bool obeysSync) : m_obeysSync(obeysSync) {}

    void Apply(const FileEvent& event);
    /// Everything is on the disk by now, as some time after the last write.
    void Settle();
    DiskImage CutPower(Unsynced kind, std::mt19937& random) const;

private:
    struct File {
        bool isThere = false;          // in the directory, for certain
        std::string content;           // for certain
        std::vector<FileEvent> queue;  // not synchronised
    };
    static void Change(std::string& content, const FileEvent& event);
    void Rename(const FileEvent& event);
    static void SyncName(File& file);
    static void Sync(File& file);
    static void Arrive(const File& file, Unsynced kind, std::mt19937& random, std::string& content, bool& isThere);

    bool m_obeysSync;
    std::map<std::string, File> m_files;
};

}  // namespace srcwatch_test

#endif
