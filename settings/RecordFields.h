// SPDX-License-Identifier: Apache-2.0
//
// The members of a stored record.
#ifndef SRCWATCH_SETTINGS_RECORDFIELDS_H
#define SRCWATCH_SETTINGS_RECORDFIELDS_H

namespace srcwatch {

/// A member of a record.
struct RecordField {
    const char* key;
    bool isNumber;
};

/// The eighteen members, in the order in which they are read and written.
constexpr RecordField kRecordFields[] = {
    {"PortNum", true}, {"BName", false},     {"CName", false},    {"DevType", true},   {"DevName", false},
    {"PRName", false}, {"sDevType", false},  {"CDevName", false}, {"AKSV", false},     {"UnknownType", false},
    {"MFName", false}, {"ModelName", false}, {"CECName", false},  {"ScanState", true}, {"DenyCount", true},
    {"DMethod", true}, {"PrevPort", true},   {"Changed", true},
};

}  // namespace srcwatch

#endif
