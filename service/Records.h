// SPDX-License-Identifier: Apache-2.0
//
// The records of all inputs, kept the same in the service, in the library's table and in the settings store.
#ifndef SRCWATCH_SERVICE_RECORDS_H
#define SRCWATCH_SERVICE_RECORDS_H

#include "Record.h"
#include "Settings.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

#include <json/value.h>

namespace qdinfo {
class CQDInfoData;
}

namespace srcwatch {

/// The service side of the library's store. A process has one at a time.
class Records {
public:
    explicit Records(Settings& settings) : m_settings(settings) {}
    ~Records();
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;

    /// Creates the library's store and loads the records. Unreadable texts are kept aside and replaced by what was
    /// read. Waits five seconds for a store that fails. @return Why loading is not possible, or empty.
    std::string Load();

    /// Returns the record of a port that the TV has.
    const Record& Get(int port) const { return m_records.at(port); }

    /// Stores, saves and announces the record of a port if it differs from the current one. @return True if it did.
    bool Set(int port, const Record& record);
    /// Returns true if the record of a port is stored; false as long as saving it fails.
    bool IsSaved(int port) const;
    /// Calls back as soon as the record of a port is stored, which it usually is; at most one call waits for each port.
    void CallWhenSaved(int port, std::function<void()> callback);
    void SetScanState(int port, int state);
    /// Sets a record without a device, but with the deny count as it is.
    void Clear(int port);

    /// Takes over what another process wrote. To be called after each write to the HDMI records' setting.
    void HandleWritten();

    /// Returns the record as it is saved from memory.
    Json::Value Document(int port) const;

    /// Returns the record as stored, null if there is none; nothing if the store cannot be read.
    std::optional<Json::Value> Stored(int port) const;

private:
    std::string TryLoad();
    bool TakeOver();
    bool Adopt(const Json::Value& document);
    void Save(int port);
    bool TrySave(int port);

    Settings& m_settings;
    qdinfo::CQDInfoData* m_table = nullptr;  // the library's
    std::map<int, Record> m_records{{SRCWATCH_PORT_OPTICAL, {}}};
    std::map<int, std::function<void()>> m_callbacks;  // what waits for a record to be saved, by port
};

}  // namespace srcwatch

#endif
