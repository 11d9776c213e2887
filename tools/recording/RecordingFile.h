// SPDX-License-Identifier: Apache-2.0
//
// A recording: JSON Lines, one entry each, of the form that srcwatch-recording.schema.json describes. The first is a
// snapshot.
#ifndef SRCWATCH_TOOLS_RECORDINGFILE_H
#define SRCWATCH_TOOLS_RECORDINGFILE_H

#include "AksvHider.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include <json/value.h>

namespace ctl {

/// Returns the time as a recording has it, of microseconds since 1970.
std::string WallClock(std::int64_t microseconds);

/// Writes a new file. There are only whole lines in it, whatever happens, unless the process is killed.
class RecordingWriter {
public:
    /// @param hider  Has every entry before it is written.
    /// Throws a Failure if the file exists or cannot be made.
    RecordingWriter(std::string path, AksvHider& hider);
    RecordingWriter(const RecordingWriter&) = delete;
    RecordingWriter& operator=(const RecordingWriter&) = delete;
    ~RecordingWriter();

    /// Adds an entry that happened now.
    void Write(Json::Value entry);
    /// Adds an entry that has its times. Throws a Failure if the disk does not take it.
    void WriteTimed(Json::Value entry);
    /// Throws a Failure if the disk does not take what was added. The file then has the lines that it took.
    void Flush();

    int Count() const { return m_count; }

private:
    const std::string m_path;
    AksvHider& m_hider;
    const int m_file;
    std::string m_pending;
    bool m_isFull = false;
    int m_count = 0;
};

struct Entry {
    std::size_t number = 0;  ///< of the line or packet, from 1
    Json::Value json;
};

/// Where entries come from.
class EntrySource {
public:
    virtual ~EntrySource() = default;

    /// Returns the next entry, which is of the recording's form; nothing at the end. Throws a Failure if it cannot be
    /// read.
    virtual std::optional<Entry> Next() = 0;
};

/// Opens a recording, or what `busctl capture` wrote. Throws a Failure if it cannot be read or is something else.
std::unique_ptr<EntrySource> OpenRecording(const std::string& path);

/// Copies what OpenRecording() reads to a new recording. Returns the number of entries. Throws a Failure if that cannot
/// be done.
int CopyRecording(const std::string& from, const std::string& to, AksvHider& hider);

}  // namespace ctl

#endif
