// SPDX-License-Identifier: Apache-2.0
#include "StubStore.h"

#include "MemoryPlatform.h"
#include "QDInfoServerData.h"
#include "Queries.h"

#include <json/json.h>
#include <sys/time.h>

namespace exhaustive {

StoreCalls storeCalls;

namespace {

// The number or the text in each member depends on the port.
void FillRecord(int port, Json::Value& record)
{
    const std::string name = "port " + std::to_string(port);
    for (const char* const text :
         {"CECName", "ModelName", "MFName", "CName", "PRName", "CDevName", "AKSV", "DevName", "BName", "UnknownType"}) {
        record[text] = name;
    }
    for (const char* const number : {"DenyCount", "DMethod", "ScanState", "PrevPort", "Changed"}) {
        record[number] = port + 1;
    }
    record["DevType"] = 3;
}

}  // namespace

std::string StoredDocument(int port)
{
    Json::Value record;
    FillRecord(port, record);
    return srcwatch_test::DocumentOf(port, record);
}

}  // namespace exhaustive

using exhaustive::storeCalls;

namespace qdinfo {

template class CSingleton<CQDInfoServerData>;

CQDInfoServerData::CQDInfoServerData() = default;
CQDInfoServerData::~CQDInfoServerData() = default;

bool CQDInfoServerData::t_Initialize() { return CreateAndAddNewActivity(); }

void CQDInfoServerData::t_UnInitialize() {}

void CQDInfoServerData::t_CheckAndSaveActivity(int port)
{
    ++storeCalls.saves;
    storeCalls.port = port;
}

void CQDInfoServerData::t_CheckAndSaveActivityWithNotify(int port)
{
    ++storeCalls.savesWithNotify;
    storeCalls.port = port;
}

bool CQDInfoServerData::t_LoadActivityInfoToMemory()
{
    ++storeCalls.tableLoads;
    return true;
}

bool CQDInfoServerData::t_LoadPortJsonInfoToMemory(int port, Json::Value& out)
{
    ++storeCalls.loads;
    storeCalls.port = port;
    exhaustive::FillRecord(port, out);
    return true;
}

bool CQDInfoServerData::t_LoadOpticalPortJsonInfoToMemory(int port, Json::Value& out)
{
    t_LoadPortJsonInfoToMemory(port, out);
    --storeCalls.loads;
    ++storeCalls.opticalLoads;
    return true;
}

bool CQDInfoServerData::t_LoadPortJsonKPIInfoToMemory(int port, Json::Value&)
{
    ++storeCalls.kpiLoads;
    storeCalls.port = port;
    return true;
}

bool CQDInfoServerData::t_LoadAllJsonKPIInfoToMemory(Json::Value*) { return false; }

bool CQDInfoServerData::t_SaveActivityInfoToFile() { return false; }

}  // namespace qdinfo

// The time stamp of log lines, which are dropped here.
int gettimeofday(timeval* now, void*) noexcept
{
    now->tv_sec = 0;
    now->tv_usec = 0;
    return 0;
}

void srcwatch_test::ConfigurePlatform(Platform& platform) { platform.keepsCalls = false; }
