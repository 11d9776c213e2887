// SPDX-License-Identifier: Apache-2.0
//
// Records what a process does to the files of a directory: the program that this is linked into brings the functions of
// the C library by which files change.
#ifndef SRCWATCH_TESTS_FILERECORDER_H
#define SRCWATCH_TESTS_FILERECORDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace srcwatch_test {

/// Name of the directory, when it is synchronised itself.
constexpr char kDirectoryItself[] = ".";

struct FileEvent {
    enum class Kind : std::uint32_t {
        kCreate,
        kWrite,     // bytes at offset
        kTruncate,  // to offset
        kSync,
        kRemove,
        kRename,  // to this file; bytes are the name that it had
        kNote,    // a number that the recorded process left here
    };
    Kind kind;
    std::string file;  // its name in the directory
    std::uint64_t offset;
    std::string bytes;
};

/// A recording in memory that a process shares with those that it forks.
class FileRecording {
public:
    FileRecording();
    ~FileRecording();
    FileRecording(const FileRecording&) = delete;
    FileRecording& operator=(const FileRecording&) = delete;

    /// From now on, for this process.
    void Begin(const std::string& directory);
    void Note(int number);

    std::vector<FileEvent> Events() const;

private:
    void* m_memory;
};

}  // namespace srcwatch_test

#endif
