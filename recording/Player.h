// SPDX-License-Identifier: Apache-2.0
//
// Plays a recording: its entries, in their order and at their times.
#ifndef SRCWATCH_RECORDING_PLAYER_H
#define SRCWATCH_RECORDING_PLAYER_H

#include "EntrySource.h"

#include <cstdint>
#include <exception>
#include <functional>

#include <glib.h>

namespace srcwatch {

/// Where entries take effect.
class PlayTarget {
public:
    virtual ~PlayTarget() = default;

    /// Returns true if an entry is for this target. What comes behind the last one of these is not played.
    virtual bool Wants(const Json::Value& entry) const = 0;
    /// Has an entry take effect, at the latest with the next Settle().
    virtual void Apply(const Json::Value& entry) = 0;
    /// Is called behind each entry that is played, and behind all that were passed over.
    virtual void Settle() {}
};

/// The end of what is played, which belongs to it: a line, or a time in seconds from the beginning.
struct PlayEnd {
    std::optional<std::size_t> line;
    std::optional<double> seconds;
};

class Player {
public:
    /// Opens the recording that is played, from its beginning.
    using Opener = std::function<std::unique_ptr<EntrySource>()>;

    /// @param onChange  Is called after each command, and while it plays, at every step and at the end.
    Player(PlayTarget& target, std::function<void()> onChange) : m_target(target), m_onChange(std::move(onChange)) {}
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    ~Player() { StopTimer(); }

    /// Takes another recording. It is read to its end first, so that nothing of a faulty one takes effect.
    /// @return Its fault; empty if it has none.
    std::string Load(Opener open, const PlayEnd& end = {});

    /// @name Commands. Times are in seconds of the recording; speeds are times as fast as it was recorded.
    /// @{
    void Play(double speed);  ///< At the end, from the beginning.
    void Pause();
    void Seek(double seconds);
    void Stop();  ///< Has the target unplug all.
    /// @}

    bool IsPlaying() const { return m_started != 0; }
    double Now() const;
    double Length() const { return m_length; }
    int Count() const { return m_count; }        ///< of entries that took effect
    std::size_t Line() const { return m_line; }  ///< of the last one

    /// Throws what the target threw while it played, which has ended that. @return The fault of a recording that is not
    /// any more what was loaded.
    std::string Fault() const;

private:
    static gboolean OnTime(void* self);
    void Rewind();
    void ReadNext();
    void ApplyNext();
    void Advance();
    void StartTimer(double seconds);
    void StopTimer();

    PlayTarget& m_target;
    const std::function<void()> m_onChange;
    Opener m_open;
    PlayEnd m_end;
    double m_length = 0;
    std::unique_ptr<EntrySource> m_source;
    std::optional<Entry> m_next;
    std::size_t m_line = 0;
    int m_count = 0;
    double m_at = 0;             // when it was last started or stopped
    std::int64_t m_started = 0;  // by the clock, in microseconds; 0 unless it plays
    double m_speed = 1;
    unsigned m_timer = 0;
    std::exception_ptr m_failure;
};

}  // namespace srcwatch

#endif
