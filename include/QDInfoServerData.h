// SPDX-License-Identifier: Apache-2.0
//
// The store: the table of records, kept in the platform's settings store.
#ifndef SRCWATCH_QDINFOSERVERDATA_H
#define SRCWATCH_QDINFOSERVERDATA_H

#include "QDInfoCommon.h"
#include "QDInfoData.h"

namespace qdinfo {

/**
 * Keeps the activity records as JSON text in the settings store, and reads the records that are stored there.
 *
 * One per process, obtained through GetInstance(). The loaders with an output of Json::Value read and parse the stored
 * text at each call and never touch the table in memory. A false result means: no text, not JSON, or JSON of another
 * shape; only the first and the last are logged. Not synchronised; the settings store serialises single reads and
 * writes.
 */
class SRCWATCH_API CQDInfoServerData : public CQDInfoData, public CSingleton<CQDInfoServerData> {
public:
    CQDInfoServerData();
    ~CQDInfoServerData() override;

    /// Loads the HDMI records into the table.
    bool t_Initialize() override;
    void t_UnInitialize() override;

    /**
     * Saves all HDMI records, unless port is 99, then broadcasts SRCWATCH_EVENT_RECORDS_SAVED, also after a failed
     * save. The announcement has left the process when the call returns, unless the bus hangs.
     */
    void t_CheckAndSaveActivity(int port) override;
    /// Does the same.
    void t_CheckAndSaveActivityWithNotify(int port) override;

    /// Replaces the table's HDMI records by the stored ones. The table keeps its records when there is no JSON text.
    bool t_LoadActivityInfoToMemory() override;
    /// Reads the stored record of an HDMI port; null, with a true result, when the port is beyond the stored ones.
    bool t_LoadPortJsonInfoToMemory(int port, Json::Value& out) override;
    /// Reads the stored record of the optical source; the port does not matter.
    bool t_LoadOpticalPortJsonInfoToMemory(int port, Json::Value& out) override;
    /// Reads the last statistics entry of a port with a priority of at most 9; out is untouched when there is none.
    bool t_LoadPortJsonKPIInfoToMemory(int port, Json::Value& out) override;
    /// Does the same for every HDMI port, into out[port]: out points to at least HDMI_PORT_COUNT values.
    bool t_LoadAllJsonKPIInfoToMemory(Json::Value* out) override;

    /// Writes the table's HDMI records to the settings store.
    virtual bool t_SaveActivityInfoToFile();
};

extern template class CSingleton<CQDInfoServerData>;

}  // namespace qdinfo

#endif
