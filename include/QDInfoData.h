// SPDX-License-Identifier: Apache-2.0
//
// The table of the records of all inputs, and the interface of the store that keeps it.
#ifndef SRCWATCH_QDINFODATA_H
#define SRCWATCH_QDINFODATA_H

#include "QDInfoActivityInfo.h"
#include "srcwatch-api.h"

#include <vector>

#include <json/value.h>

namespace qdinfo {

/**
 * The records of all inputs: one per HDMI port, and that of the optical source (port 99).
 *
 * Members that take a port forward to the accessor of the same name of that port's record; setters return true. A port
 * outside the table has no record: getters then return 0 or an empty text, setters change nothing. The table is empty
 * until CreateAndAddNewActivity() or SetActivityInfoFromStream() fills it. Not synchronised.
 */
class SRCWATCH_API CQDInfoData {
public:
    CQDInfoData();
    CQDInfoData(const CQDInfoData&) = delete;
    CQDInfoData& operator=(const CQDInfoData&) = delete;

    // The order of the virtual functions is ABI. Those of this class do nothing and return false.
    virtual ~CQDInfoData();
    virtual bool t_Initialize();
    virtual void t_UnInitialize();
    virtual void t_CheckAndSaveActivity(int port);
    virtual void t_CheckAndSaveActivityWithNotify(int port);
    virtual bool t_LoadActivityInfoToMemory();
    virtual bool t_LoadPortJsonInfoToMemory(int port, Json::Value& out);
    virtual bool t_LoadOpticalPortJsonInfoToMemory(int port, Json::Value& out);
    virtual bool t_LoadPortJsonKPIInfoToMemory(int port, Json::Value& out);
    virtual bool t_LoadAllJsonKPIInfoToMemory(Json::Value* out);

    /// Appends one default record per HDMI input and resets the optical record to its defaults. A second call appends
    /// again.
    bool CreateAndAddNewActivity();

    /// Sets all fields of a port's record to 0 or empty, except the deny count.
    void ResetSourceInfo(int port);

    /**
     * Stores the HDMI records as the array "activity" of root, which is null or an object. An empty table leaves root
     * as it is. Logs the number of records. @return False, after a log line, when root cannot take them or memory runs
     * out.
     */
    bool GetActivityInfoToStream(Json::Value& root);

    /// Stores the optical record as the member "activity" of root. @return False, after a log line, if root cannot take
    /// it.
    bool GetOpticalActivityInfoToStream(Json::Value& root);

    /**
     * Replaces the HDMI records by those of the array "activity" of root, one per HDMI input: a missing element becomes
     * a default record, further elements are ignored, and root is completed with nulls on the way.
     *
     * @return False, after a log line, when root is not an object or "activity" not an array: the table then holds the
     *         records before the failure.
     */
    bool SetActivityInfoFromStream(Json::Value& root);

    int GetDeviceType(int port);
    bool SetDeviceType(int value, int port);
    const char* GetStrDeviceType(int port);
    bool SetStrDeviceType(const char* s, int port);
    const char* GetBrandName(int port);
    bool SetBrandName(const char* s, int port);
    const char* GetDeviceName(int port);
    bool SetDeviceName(const char* s, int port);
    const char* GetProviderName(int port);
    bool SetProviderName(const char* s, int port);
    const char* GetCodesetName(int port);
    bool SetCodesetName(const char* s, int port);
    const char* GetCECDeviceName(int port);
    bool SetCECDeviceName(const char* s, int port);
    const char* GetAKSVKey(int port);
    bool SetAKSVKey(const char* s, int port);
    const char* GetUnknownType(int port);
    bool SetUnknownType(const char* s, int port);
    const char* GetManufacturerName(int port);
    bool SetManufacturerName(const char* s, int port);
    const char* GetModelName(int port);
    bool SetModelName(const char* s, int port);
    const char* GetCECName(int port);
    bool SetCECName(const char* s, int port);
    int GetPortNumber(int port);
    bool SetPortNumber(int port);  ///< The record's port number becomes the index itself.
    int GetDenyCount(int port);
    bool SetDenyCount(int value, int port);
    int GetScanState(int port);
    bool SetScanState(int value, int port);
    int GetDetectionMethod(int port);
    bool SetDetectionMethod(int value, int port);
    int GetPrevPort(int port);
    bool SetPrevPort(int value, int port);
    int GetChangedType(int port);
    bool SetChangedType(int value, int port);

    /// Returns true if the table holds a record of the port. For the library's own use.
    SRCWATCH_LOCAL bool HasPort(int port) { return Find(port) != nullptr; }

private:
    void m_ResetSourceInfo(int port);
    SRCWATCH_LOCAL CQDInfoActivityInfo* Find(int port);
    SRCWATCH_LOCAL CQDInfoActivityInfo& At(int port);

    std::vector<CQDInfoActivityInfo> t_ActivityInfo;  // element i is HDMI port i
    int m_nActivityIndex __attribute__((unused));     // part of the layout; nothing uses it after construction
    CQDInfoActivityInfo m_OpticalActivityInfo;
};

}  // namespace qdinfo

#endif
