// SPDX-License-Identifier: Apache-2.0
//
// The records of all inputs, kept the same in the service, in the library's table and in the settings store.
#ifndef SRCWATCH_SERVICE_RECORDS_H
#define SRCWATCH_SERVICE_RECORDS_H

#include "Record.h"

#include <map>
#include <string>

#include <json/value.h>

namespace qdinfo {
class CQDInfoData;
}

namespace srcwatch {

/// The service side of the library's store. A process has one at a time.
class Records {
public:
    Records() = default;
    ~Records();
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;

    /// Creates the library's store and loads the records. Unreadable texts are kept aside and replaced by what was
    /// read.
    /// @return Why that is not possible, or empty.
    std::string Load();

    /// Returns the record of a port that the TV has.
    const Record& Get(int port) const { return m_records.at(port); }

    /// Stores, saves and announces the record of a port if it differs from the current one. @return True if it did.
    bool Set(int port, const Record& record);
    void SetScanState(int port, int state);
    /// Sets a record without a device, but with the deny count as it is.
    void Clear(int port);

    /// Takes over what another process wrote. To be called after each write to the HDMI records' setting.
    void HandleWritten();

    /// Returns the record as stored; null if there is none.
    Json::Value Stored(int port) const;

private:
    bool Adopt(const Json::Value& document);
    void Save(int port);

    qdinfo::CQDInfoData* m_table = nullptr;  // the library's
    std::map<int, Record> m_records{{SRCWATCH_PORT_OPTICAL, {}}};
};

}  // namespace srcwatch

#endif
