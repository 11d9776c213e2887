// SPDX-License-Identifier: Apache-2.0
//
// A recording: JSON Lines, one entry each, of the form that srcwatch-recording.schema.json describes. The first is a
// snapshot.
#ifndef SRCWATCH_TOOLS_RECORDINGFILE_H
#define SRCWATCH_TOOLS_RECORDINGFILE_H

#include "AksvHider.h"
#include "EntrySource.h"

#include <cstddef>
#include <memory>
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

/// What a file is not that is refused.
constexpr char kForeign[] = " is neither a recording nor what 'busctl capture' wrote";

/// Opens a recording, or what `busctl capture` wrote. Throws a Failure if it cannot be read or is something else.
std::unique_ptr<srcwatch::EntrySource> OpenRecording(const std::string& path);

/// Throws a Failure if there is a fault in the entries of a file.
void RequireNoFault(const std::string& path, const std::string& fault);

/// Copies what OpenRecording() reads to a new recording. Returns the number of entries. Throws a Failure if that cannot
/// be done.
int CopyRecording(const std::string& from, const std::string& to, AksvHider& hider);

}  // namespace ctl

#endif
