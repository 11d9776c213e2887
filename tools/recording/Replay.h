// SPDX-License-Identifier: Apache-2.0
//
// Replays a recording: its entries, in their order and at their times.
#ifndef SRCWATCH_TOOLS_REPLAY_H
#define SRCWATCH_TOOLS_REPLAY_H

#include "Loop.h"
#include "RecordingFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace ctl {

/// Where entries take effect.
class ReplayTarget {
public:
    virtual ~ReplayTarget() = default;

    /// Returns true if an entry is for this target.
    virtual bool Wants(const Json::Value& entry) const = 0;
    /// Throws a Failure if it cannot be done.
    virtual void Apply(const Json::Value& entry) = 0;
};

/// The end of a replay, which belongs to it: a line, or a time in seconds from the beginning.
struct ReplayEnd {
    std::optional<std::size_t> line;
    std::optional<double> seconds;
};

class Replay {
public:
    /// Reads the whole recording first, so that nothing of a faulty one takes effect. Throws a Failure if it is.
    Replay(const std::string& file, double speed, const ReplayEnd& end, ReplayTarget& target);

    /// Returns the number of entries that took effect. Throws a Failure if one cannot, or when it is interrupted.
    int Run();

private:
    static gboolean OnTime(void* self);
    void Advance();
    bool IsDue() const;
    void ReadNext();

    const std::string m_file;
    const double m_speed;
    const ReplayEnd m_end;
    ReplayTarget& m_target;
    std::unique_ptr<EntrySource> m_source;
    std::optional<Entry> m_next;
    bool m_isBegun = false;
    double m_begin = 0;        // time of the first entry, in seconds
    std::int64_t m_start = 0;  // time of its replay, in microseconds
    std::size_t m_last = 0;    // number of the last entry that took effect
    int m_count = 0;
    GSource* m_timer = nullptr;
    std::optional<Loop> m_loop;
};

}  // namespace ctl

#endif
