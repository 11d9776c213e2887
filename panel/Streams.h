// SPDX-License-Identifier: Apache-2.0
//
// The numbered changes of the state, and the pages that read them. It knows no connection.
#ifndef SRCWATCH_PANEL_STREAMS_H
#define SRCWATCH_PANEL_STREAMS_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

namespace panel {

/// The last changes, as they are sent. Each has a number; those of one run of the program share an epoch.
class ChangeLog {
public:
    static constexpr std::size_t kMostChanges = 256;
    static constexpr std::size_t kMostBytes = 4UL * 1024 * 1024;

    explicit ChangeLog(std::string epoch) : m_epoch(std::move(epoch)) {}

    /// Adds a change. @return As it is sent: an event of the stream (Server-Sent Events).
    const std::string& Add(const Json::Value& change);

    /// Returns the changes behind the one with this id, the oldest first; nothing if one of them is not kept any more,
    /// or if there never was such an id.
    std::optional<std::string> Since(const std::string& id) const;

    /// Returns a state that has all changes so far, as it is sent.
    std::string Snapshot(const Json::Value& state) const;

private:
    std::string IdOf(std::uint64_t number) const { return m_epoch + "-" + std::to_string(number); }
    std::string Event(const char* name, const Json::Value& data) const;

    const std::string m_epoch;
    std::uint64_t m_last = 0;  // number of the last change
    std::deque<std::string> m_changes;
    std::size_t m_bytes = 0;
};

/// Who reads the stream.
class PageReader {
public:
    virtual ~PageReader() = default;

    virtual void Send(const std::string& text) = 0;
    /// Returns how much of what was sent has not left this process.
    virtual std::size_t Unsent() const = 0;
    /// Ends the connection. Nothing is sent to it any more.
    virtual void Drop() = 0;
};

class Streams {
public:
    static constexpr std::size_t kMostReaders = 16;
    static constexpr std::size_t kMostUnsent = 1024UL * 1024;

    /// @param snapshot  Returns the whole state.
    Streams(std::string epoch, std::function<Json::Value()> snapshot);

    bool IsFull() const { return m_readers.size() >= kMostReaders; }

    /// Sends a reader what it does not have, and from now on every change. @param lastId  Of what it has; may be any
    /// text.
    void Add(std::shared_ptr<PageReader> reader, const std::string& lastId);
    void Remove(const PageReader* reader);
    void Publish(const Json::Value& change);
    /// Lets readers, and whatever is between, know that the stream is alive.
    void KeepAlive() { SendToAll(": alive\n\n"); }
    /// Ends all connections.
    void DropAll();

private:
    void SendToAll(const std::string& text);

    const std::function<Json::Value()> m_snapshot;
    ChangeLog m_log;
    std::vector<std::shared_ptr<PageReader>> m_readers;
};

}  // namespace panel

#endif
