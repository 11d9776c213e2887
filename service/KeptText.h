// SPDX-License-Identifier: Apache-2.0
//
// A text in the settings store that this service alone writes, and keeps as long as it runs.
#ifndef SRCWATCH_SERVICE_KEPTTEXT_H
#define SRCWATCH_SERVICE_KEPTTEXT_H

#include "Settings.h"
#include "StoredValues.h"

#include <string>
#include <utility>

namespace srcwatch {

/// Survives the loss of the store: once it has been read, it is written again to a store that takes the place of the
/// one before.
class KeptText {
public:
    /// @param saving  What the log calls a save: "saving the statistics".
    KeptText(Settings& settings, std::string key, std::string saving)
        : m_settings(settings), m_key(std::move(key)), m_saving(std::move(saving))
    {
    }

    /// Reads the stored text, unless a newer one waits to be saved. An absent one, as after the store was deleted, and
    /// one that cannot be read leave the text as it is.
    ReadResult Load();

    /// Returns the text; empty if none was ever stored.
    const std::string& Text() const { return m_text; }

    void Save(std::string text);

private:
    bool TrySave() const;

    Settings& m_settings;
    const std::string m_key;
    const std::string m_saving;
    std::string m_text;
};

}  // namespace srcwatch

#endif
