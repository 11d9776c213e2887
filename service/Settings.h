// SPDX-License-Identifier: Apache-2.0
//
// Access to the settings store that survives its failures: what cannot be read is not taken for absent, and what cannot
// be written is written later, and again if the store has been replaced. Stored texts that cannot be used are kept
// aside.
#ifndef SRCWATCH_SERVICE_SETTINGS_H
#define SRCWATCH_SERVICE_SETTINGS_H

#include "Inspection.h"
#include "Timer.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

namespace srcwatch {

/// Accesses the settings store, and repeats what fails, with pauses that grow to two seconds, until it succeeds.
class Settings {
public:
    using Attempt = std::function<bool()>;

    void WriteNumber(const std::string& key, int value);

    /// Attains a write, now and whenever the store has been replaced.
    void Write(const std::string& name, Attempt attempt);
    /// The same for what is stored already.
    void Keep(const std::string& name, Attempt attempt);
    /// Does all writes again, each name's last one. To be called when the store has been replaced.
    void WriteAgain();

    /// Runs an attempt. If it fails, it is repeated until it succeeds, or until another one of the same name takes its
    /// place. The log shows the name, which says what is attempted: "writing KEY".
    void Attain(const std::string& name, Attempt attempt);

    /// Returns true as long as an attempt of this name is to be repeated.
    bool IsPending(const std::string& name) const { return m_pending.count(name) > 0; }
    std::size_t PendingCount() const { return m_pending.size(); }

    /// Repeats all failed attempts now. @return True if none is left.
    bool Repeat();

private:
    void RepeatLater();

    std::map<std::string, Attempt> m_writes;
    std::map<std::string, Attempt> m_pending;
    unsigned m_pause = 0;  // milliseconds
    Timer m_timer;
};

/// Repeats an attempt, without the main loop, until it succeeds or five seconds are over. @return True if it succeeded.
bool RetryNow(const Settings::Attempt& attempt);

/// A document in the settings store. One that the library would read only in part is kept under its key with
/// ".unreadable" after it, because the next save loses the rest; that is logged with the reason. One that is too large
/// stays as it is until a record is to be saved; the platform logs it.
struct StoredDocument {
    std::optional<Json::Value> root;  ///< nothing if it is absent, unreadable or too large
    bool isUnreadable = false;
    bool isKept = true;  ///< false if an unreadable text could not be kept aside
    bool isTooLarge = false;
};
/// Loads a document. Returns nothing if the store cannot be read.
std::optional<StoredDocument> LoadDocument(const std::string& key, StoredKind kind);

/// Keeps an unreadable text under its key with ".unreadable" after it, and logs that. @return True if it is kept.
bool KeepAside(const std::string& key, const std::string& text, const std::string& reason);

/// Examines the text of a document.
StoredDocument Examine(const std::string& key, StoredKind kind, const std::string& text);

}  // namespace srcwatch

#endif
