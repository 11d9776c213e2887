// SPDX-License-Identifier: Apache-2.0
//
// The record of what is known about the device on one input.
#ifndef SRCWATCH_QDINFOACTIVITYINFO_H
#define SRCWATCH_QDINFOACTIVITYINFO_H

#include "srcwatch-api.h"

#include <string>

#include <json/value.h>

namespace qdinfo {

/**
 * What is known about the device on one input: a value class of eighteen fields.
 *
 * Text getters return a pointer that is valid until the field is next changed or the record is destroyed; all but
 * GetStrDeviceType() log the text at DEBUG. Text setters ignore null and the empty text, so that they can never empty a
 * field, except SetCodesetName(), which takes the empty text. Not synchronised.
 */
class SRCWATCH_API CQDInfoActivityInfo {
public:
    CQDInfoActivityInfo();
    CQDInfoActivityInfo(const CQDInfoActivityInfo& other);
    CQDInfoActivityInfo& operator=(const CQDInfoActivityInfo& other);
    ~CQDInfoActivityInfo();

    /**
     * Fills the fields from a JSON object.
     *
     * A missing member reads as 0 or the empty text, and is added to obj as null.
     *
     * @return False, after a log line, at the first member of the wrong kind: the fields before it have their new
     *         values, it and those after it their old ones.
     */
    bool Read(Json::Value& obj);

    /// Reads like Read(), and reports whether memory ran out. For the library's own use.
    SRCWATCH_LOCAL bool TryRead(Json::Value& obj, bool& outOfMemory);

    /// Stores the fields as members of obj, which is null or an object. @return False, after a log line, if it is not.
    bool Write(Json::Value& obj);

    /// Sets all fields to 0 or empty.
    void Clear();

    /// Sets all fields to 0 or empty, except the deny count.
    void ResetSourceInfo();

    int GetDeviceType();
    void SetDeviceType(int value);
    const char* GetStrDeviceType();
    void SetStrDeviceType(const char* s);
    const char* GetBrandName();
    void SetBrandName(const char* s);
    const char* GetDeviceName();
    void SetDeviceName(const char* s);
    const char* GetProviderName();
    void SetProviderName(const char* s);
    const char* GetCodesetName();
    void SetCodesetName(const char* s);
    const char* GetCECDeviceName();
    void SetCECDeviceName(const char* s);
    const char* GetAKSVKey();
    void SetAKSVKey(const char* s);
    const char* GetUnknownType();
    void SetUnknownType(const char* s);
    const char* GetManufacturerName();
    void SetManufacturerName(const char* s);
    const char* GetModelName();
    void SetModelName(const char* s);
    const char* GetCECName();
    void SetCECName(const char* s);
    int GetPortNumber();
    void SetPortNumber(int value);
    int GetDenyCount();
    void SetDenyCount(int value);
    int GetScanState();
    void SetScanState(int value);
    int GetDetectionMethod();
    void SetDetectionMethod(int value);
    int GetPrevPort();
    void SetPrevPort(int value);
    int GetChangedType();
    void SetChangedType(int value);

private:
    struct SRCWATCH_LOCAL Schema;  // the fields with their JSON keys, in the order of reading and writing

    int m_nDeviceType = 0;
    std::string m_strDeviceType;
    std::string m_strBrandName;
    std::string m_strDeviceName;
    std::string m_strProviderName;
    std::string m_strCodesetName;
    std::string m_strCECDeviceName;
    std::string m_strAKSVKey;
    std::string m_strUnknownType;
    std::string m_strManufacturerName;
    std::string m_strModelName;
    std::string m_strCECName;
    int m_nPortNumber = 0;
    int m_nDenyCount = 0;
    int m_nScanState = 0;
    int m_nDetectionMethod = 0;
    int m_nPrevPort = 0;
    int m_nChangedType = 0;
};

}  // namespace qdinfo

#endif
