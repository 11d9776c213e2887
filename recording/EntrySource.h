// SPDX-License-Identifier: Apache-2.0
//
// The entries of a recording, one after the other: JSON Lines, of which the first is a snapshot.
#ifndef SRCWATCH_RECORDING_ENTRYSOURCE_H
#define SRCWATCH_RECORDING_ENTRYSOURCE_H

#include <cstddef>
#include <istream>
#include <memory>
#include <optional>
#include <string>

#include <json/value.h>

namespace srcwatch {

struct Entry {
    std::size_t number = 0;  ///< of the line or packet, from 1
    Json::Value json;
    double at = 0;  ///< seconds from the first entry, never less than those of the one before
};

/// Where entries come from.
class EntrySource {
public:
    virtual ~EntrySource() = default;

    /// Returns the next entry, which is of the recording's form; nothing at the end, and where there is a fault.
    std::optional<Entry> Next();

    /// Returns where the entries cannot be read, and why; empty if they can.
    const std::string& Fault() const { return m_fault; }

protected:
    /// Returns the next entry, whose time is filled in.
    virtual std::optional<Entry> Read() = 0;
    std::nullopt_t Fail(const std::string& fault);

private:
    std::string m_fault;
    std::optional<double> m_begin;
    double m_at = 0;
};

/// The fault of what is no recording at all.
constexpr char kNoRecording[] = "line 1: it is not a snapshot";

/// Reads the lines of a recording.
class RecordingReader : public EntrySource {
public:
    explicit RecordingReader(std::unique_ptr<std::istream> lines) : m_lines(std::move(lines)) {}

private:
    std::optional<Entry> Read() override;
    std::nullopt_t FailInLine(const std::string& why);
    bool ReadLine(std::string& line);

    const std::unique_ptr<std::istream> m_lines;
    std::size_t m_number = 0;
};

}  // namespace srcwatch

#endif
