// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the store share: a store over settings in memory, and the lines that it logs.
#ifndef SRCWATCH_TESTS_STORETEST_H
#define SRCWATCH_TESTS_STORETEST_H

#include "QDInfoCommon.h"
#include "QDInfoServerData.h"
#include "QueryTest.h"

#include <functional>

namespace srcwatch_test {

using qdinfo::CQDInfoServerData;

inline const std::string kHdmi = kHdmiKey;
inline const std::string kOpt = kOpticalKey;
inline const std::string kRead = std::string("gets ") + kStatisticsKey;

inline std::string Own(const char* priority, const char* function, const std::string& message)
{
    return std::string(priority) + " QDInfoServerData.cpp " + function + ": " + message;
}

inline std::string Succeeded(const char* function, const std::string& key, const std::string& text)
{
    return Own("D", function, " get " + key + " succeed! <" + text + ">");
}

/// One record as the writer lays it out.
inline std::string RecordText(const std::string& brand, int port)
{
    return "\t\t{\n"
           "\t\t\t\"AKSV\" : \"\",\n"
           "\t\t\t\"BName\" : \"" +
           brand +
           "\",\n"
           "\t\t\t\"CDevName\" : \"\",\n"
           "\t\t\t\"CECName\" : \"\",\n"
           "\t\t\t\"CName\" : \"\",\n"
           "\t\t\t\"Changed\" : 0,\n"
           "\t\t\t\"DMethod\" : 0,\n"
           "\t\t\t\"DenyCount\" : 0,\n"
           "\t\t\t\"DevName\" : \"\",\n"
           "\t\t\t\"DevType\" : 0,\n"
           "\t\t\t\"MFName\" : \"\",\n"
           "\t\t\t\"ModelName\" : \"\",\n"
           "\t\t\t\"PRName\" : \"\",\n"
           "\t\t\t\"PortNum\" : " +
           std::to_string(port) +
           ",\n"
           "\t\t\t\"PrevPort\" : 0,\n"
           "\t\t\t\"ScanState\" : 0,\n"
           "\t\t\t\"UnknownType\" : \"\",\n"
           "\t\t\t\"sDevType\" : \"\"\n"
           "\t\t}";
}

inline std::string TableText()
{
    if (HDMI_PORT_COUNT < 1) return "null";
    std::string records;
    for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
        records += (port == 0 ? "" : ",\n") + RecordText("brand" + std::to_string(port), port);
    }
    return "{\n\t\"activity\" : \n\t[\n" + records + "\n\t]\n}";
}

class Store : public QueryTest {
protected:
    /// Fills the table with a record of each HDMI port, with the port's number in its members.
    void FillTable()
    {
        store.CreateAndAddNewActivity();
        for (int port = 0; port < HDMI_PORT_COUNT; ++port) {
            store.SetPortNumber(port);
            store.SetBrandName(("brand" + std::to_string(port)).c_str(), port);
        }
        ForgetCalls();
    }

    /// Calls load. Returns the message of the exception that it logged last.
    std::string ExceptionOf(const std::function<bool()>& load)
    {
        ForgetCalls();
        EXPECT_FALSE(load());
        EXPECT_FALSE(platform.log.empty());
        EXPECT_EQ(platform.log.back().priority, DLOG_ERROR);
        return platform.log.back().function + ": " + platform.log.back().message;
    }

    void GivenStatistics(const std::string& text) { platform.settings.texts[kStatisticsKey] = text; }

    CQDInfoServerData store;
    Json::Value out = "before";
};

}  // namespace srcwatch_test

#endif
