// SPDX-License-Identifier: Apache-2.0
#include "EntrySource.h"

#include "EntryForm.h"
#include "JsonText.h"

#include <algorithm>

namespace srcwatch {

namespace {

constexpr std::size_t kLineLimit = std::size_t{256} * 1024 * 1024;
constexpr double kLongest = 1e9;  // in seconds

}  // namespace

std::nullopt_t EntrySource::Fail(const std::string& fault)
{
    m_fault = fault;
    return std::nullopt;
}

// The clock of another machine may have gone back.
std::optional<Entry> EntrySource::Next()
{
    std::optional<Entry> entry = m_fault.empty() ? Read() : std::nullopt;
    if (!entry) return std::nullopt;
    const double time = entry->json["at"].asDouble();
    if (!m_begin) m_begin = time;
    m_at = std::max(m_at, std::min(time - *m_begin, kLongest));
    entry->at = m_at;
    return entry;
}

std::nullopt_t RecordingReader::FailInLine(const std::string& why)
{
    return Fail("line " + std::to_string(m_number) + ": " + why);
}

std::optional<Entry> RecordingReader::Read()
{
    std::string line;
    ++m_number;
    if (!ReadLine(line)) return std::nullopt;
    auto json = ParseJson(line);
    const bool isSnapshot = json && json->isObject() && (*json)["kind"] == "snapshot";
    if (m_number == 1 && !isSnapshot) return Fail(kNoRecording);
    const std::string fault = json ? FaultOf(*json) : "it is not JSON";
    if (!fault.empty()) return FailInLine(fault);
    return Entry{m_number, std::move(*json)};
}

// Returns false at the end, and if the line is none.
bool RecordingReader::ReadLine(std::string& line)
{
    int c = 0;
    while ((c = m_lines->get()) != std::istream::traits_type::eof()) {
        line += static_cast<char>(c);
        if (c == '\n') return true;
        if (line.size() <= kLineLimit) continue;
        FailInLine("it is too long for a recording");
        return false;
    }
    if (m_lines->bad()) {
        FailInLine("it cannot be read");
    } else if (m_number == 1 && line.empty()) {
        Fail("it is empty");
    } else if (m_number > 1 && !line.empty()) {
        FailInLine("it is cut off; 'head -n " + std::to_string(m_number - 1) + "' keeps the whole lines before it");
    }
    return Fault().empty() && !line.empty();
}

}  // namespace srcwatch
