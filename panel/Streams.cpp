// SPDX-License-Identifier: Apache-2.0
#include "Streams.h"

#include "Json.h"

#include <algorithm>

namespace panel {

// JSON has no line end outside its texts, where it is escaped: the data is one line.
std::string ChangeLog::Event(const char* name, const Json::Value& data) const
{
    return "id: " + IdOf(m_last) + "\nevent: " + name + "\ndata: " + ToText(data) + "\n\n";
}

const std::string& ChangeLog::Add(const Json::Value& change)
{
    ++m_last;
    m_changes.push_back(Event("change", change));
    m_bytes += m_changes.back().size();
    while (m_changes.size() > kMostChanges || (m_bytes > kMostBytes && m_changes.size() > 1)) {
        m_bytes -= m_changes.front().size();
        m_changes.pop_front();
    }
    return m_changes.back();
}

std::optional<std::string> ChangeLog::Since(const std::string& id) const
{
    for (std::size_t missed = 0; missed <= m_changes.size(); ++missed) {
        if (id != IdOf(m_last - missed)) continue;
        std::string text;
        for (std::size_t i = m_changes.size() - missed; i < m_changes.size(); ++i) text += m_changes[i];
        return text;
    }
    return std::nullopt;
}

std::string ChangeLog::Snapshot(const Json::Value& state) const { return Event("snapshot", state); }

Streams::Streams(std::string epoch, std::function<Json::Value()> snapshot)
    : m_snapshot(std::move(snapshot)), m_log(std::move(epoch))
{
}

void Streams::Add(std::shared_ptr<PageReader> reader, const std::string& lastId)
{
    const std::optional<std::string> missed = m_log.Since(lastId);
    // A comment, so that a reader that missed nothing hears something, too.
    reader->Send(missed ? ": again\n\n" + *missed : m_log.Snapshot(m_snapshot()));
    m_readers.push_back(std::move(reader));
}

void Streams::Remove(const PageReader* reader)
{
    m_readers.erase(std::remove_if(m_readers.begin(), m_readers.end(),
                                   [&](const std::shared_ptr<PageReader>& each) { return each.get() == reader; }),
                    m_readers.end());
}

void Streams::Publish(const Json::Value& change) { SendToAll(m_log.Add(change)); }

// Whoever is dropped leaves the list at once: the connection may take longer to end.
void Streams::SendToAll(const std::string& text)
{
    const std::vector<std::shared_ptr<PageReader>> readers = m_readers;
    for (const std::shared_ptr<PageReader>& reader : readers) {
        if (reader->Unsent() + text.size() <= kMostUnsent) {
            reader->Send(text);
        } else {
            Remove(reader.get());
            reader->Drop();
        }
    }
}

void Streams::DropAll()
{
    const std::vector<std::shared_ptr<PageReader>> readers = std::move(m_readers);
    m_readers.clear();
    for (const std::shared_ptr<PageReader>& reader : readers) reader->Drop();
}

}  // namespace panel
