// SPDX-License-Identifier: Apache-2.0
//
// The records of all inputs: the library's table, and what keeps it and the settings store the same.
#ifndef SRCWATCH_SERVICE_RECORDS_H
#define SRCWATCH_SERVICE_RECORDS_H

#include "Record.h"

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

    Record Get(int port) const;

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
    std::string LoadHdmi();
    std::string LoadOptical();
    void Save(int port);
    void SaveOptical();

    qdinfo::CQDInfoData* m_Table = nullptr;  // the library's
    std::optional<std::string> m_UnreadableText;
    std::optional<std::string> m_UnreadableOpticalText;
    std::string m_KnownText;  // what this process last read from or wrote to the HDMI records' setting
};

}  // namespace srcwatch

#endif
