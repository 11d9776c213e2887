// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include "Evidence.h"
#include "Log.h"
#include "StoredValues.h"

#include <algorithm>
#include <utility>

#include <vconf.h>

namespace srcwatch {

namespace {

// Milliseconds between the attempts: each pause is twice as long as the one before.
constexpr unsigned kShortestPause = 50;
constexpr unsigned kLongestPause = 2000;

// How long a start waits for the settings store.
constexpr gint64 kDeadlineMicroseconds = gint64{5} * G_USEC_PER_SEC;

}  // namespace

void Settings::WriteNumber(const std::string& key, int value)
{
    Write("writing " + key, [key, value] { return vconf_set_int(key.c_str(), value) == 0; });
}

void Settings::Write(const std::string& name, Attempt attempt)
{
    Keep(name, attempt);
    Attain(name, std::move(attempt));
}

void Settings::Keep(const std::string& name, Attempt attempt) { m_writes.insert_or_assign(name, std::move(attempt)); }

void Settings::WriteAgain()
{
    SWLOG(kLogWarn, "the settings have been recovered, replaced or deleted; what this service knows is written again");
    const std::map<std::string, Attempt> writes = m_writes;  // a write may add others
    for (const auto& [name, attempt] : writes) Attain(name, attempt);
}

void Settings::Attain(const std::string& name, Attempt attempt)
{
    if (attempt()) {
        if (m_pending.erase(name) > 0) SWLOG(kLogInfo, "%s succeeded", name.c_str());
        return;
    }
    const bool isNew = m_pending.insert_or_assign(name, std::move(attempt)).second;
    if (isNew) SWLOG(kLogError, "%s failed; it is repeated until it succeeds", name.c_str());
    if (!m_timer.IsRunning()) RepeatLater();
}

bool Settings::Repeat()
{
    const std::map<std::string, Attempt> pending = m_pending;  // an attempt may add others
    for (const auto& [name, attempt] : pending) Attain(name, attempt);
    return m_pending.empty();
}

void Settings::RepeatLater()
{
    m_pause = std::clamp(2 * m_pause, kShortestPause, kLongestPause);
    m_timer.Start(m_pause, [this] {
        if (Repeat()) m_pause = 0;
    });
}

bool RetryNow(const Settings::Attempt& attempt)
{
    const gint64 deadline = g_get_monotonic_time() + kDeadlineMicroseconds;
    while (!attempt()) {
        if (g_get_monotonic_time() > deadline) return false;
        g_usleep(1000UL * kShortestPause);
    }
    return true;
}

std::optional<StoredDocument> LoadDocument(const std::string& key, StoredKind kind)
{
    std::string text;
    const ReadResult result = ReadText(key, text);
    if (result == ReadResult::kFailed) return std::nullopt;
    if (result == ReadResult::kRead) return Examine(key, kind, text);
    StoredDocument document;
    document.isTooLarge = result == ReadResult::kTooLarge;
    return document;
}

bool KeepAside(const std::string& key, const std::string& text, const std::string& reason)
{
    const std::string copy = key + ".unreadable";
    const bool isKept = vconf_set_str(copy.c_str(), text.c_str()) == 0;
    SWLOG(kLogError, "%s is unreadable (%s); the text %s as %s", key.c_str(), Printable(reason).c_str(),
          isKept ? "is kept" : "cannot be kept", copy.c_str());
    return isKept;
}

StoredDocument Examine(const std::string& key, StoredKind kind, const std::string& text)
{
    const JsonText json(text);
    const Inspection inspection = Inspect(json, kind);
    if (inspection.IsReadable()) return {json.Root(), false, true, false};
    return {std::nullopt, true, KeepAside(key, text, inspection.FirstUnreadable()->Text()), false};
}

}  // namespace srcwatch
