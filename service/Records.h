// SPDX-License-Identifier: Apache-2.0
//
// The records of all inputs: those that this service holds, and what keeps the library's table and the settings store
// the same.
#ifndef SRCWATCH_SERVICE_RECORDS_H
#define SRCWATCH_SERVICE_RECORDS_H

#include "Record.h"

#include <map>
#include <optional>
#include <string>

#include <json/value.h>

namespace qdinfo {
class CQDInfoData;
}

namespace srcwatch {

/// The server's side of the library's store. One at a time: it is the process's.
class Records {
public:
    Records() = default;
    ~Records();
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;

    /// Become the server and load the records. Texts that cannot be read are kept aside and the records begin empty.
    /// @return Why it is not possible, or empty.
    std::string Load();

    /// Write the records again over texts that could not be read and were kept aside.
    void Restore();

    /// The record of a port that the TV has.
    const Record& Get(int port) const { return m_records.at(port); }

    /// Make this the record of a port, save it and have it announced; nothing of it when that is the record already.
    /// @return Whether it was not.
    bool Set(int port, const Record& record);

    /// Set() with no device; the deny count stays.
    bool Clear(int port);

    /// To be called after each write to the HDMI records' setting, by whomever. Takes over what another process wrote.
    void HandleWritten();

    /// The record as stored; null without one.
    static Json::Value Stored(int port);

private:
    void ReadTable();
    void Save(int port);
    void SaveOptical();

    qdinfo::CQDInfoData* m_table = nullptr;                        // the library's
    std::map<int, Record> m_records{{SRCWATCH_PORT_OPTICAL, {}}};  // what the table has, by port
    std::optional<std::string> m_unreadableHdmi;                   // texts that were found so
    std::optional<std::string> m_unreadableOptical;
};

}  // namespace srcwatch

#endif
