// SPDX-License-Identifier: Apache-2.0
#include "StubStore.h"

#include "QDInfoServerData.h"

#include <cstdlib>
#include <cstring>

#include <TVServiceAPI.h>
#include <json/json.h>
#include <sys/time.h>
#include <system_info.h>
#include <vconf.h>

namespace exhaustive {

Calls calls;
int progress = 0;

int HdmiCount()
{
    const char* const count = std::getenv("SRCWATCH_EXHAUSTIVE_HDMI");
    return count != nullptr ? std::atoi(count) : 4;
}

}  // namespace exhaustive

using exhaustive::calls;

namespace qdinfo {

template class CSingleton<CQDInfoServerData>;

CQDInfoServerData::CQDInfoServerData() = default;
CQDInfoServerData::~CQDInfoServerData() = default;

bool CQDInfoServerData::t_Initialize() { return CreateAndAddNewActivity(); }

void CQDInfoServerData::t_UnInitialize() {}

void CQDInfoServerData::t_CheckAndSaveActivity(int port)
{
    ++calls.saves;
    calls.port = port;
}

void CQDInfoServerData::t_CheckAndSaveActivityWithNotify(int port)
{
    ++calls.savesWithNotify;
    calls.port = port;
}

bool CQDInfoServerData::t_LoadActivityInfoToMemory()
{
    ++calls.tableLoads;
    return true;
}

// A record that tells its port in every member.
bool CQDInfoServerData::t_LoadPortJsonInfoToMemory(int port, Json::Value& out)
{
    ++calls.loads;
    calls.port = port;
    const std::string name = "port " + std::to_string(port);
    for (const char* const text :
         {"CECName", "ModelName", "MFName", "CName", "PRName", "CDevName", "AKSV", "DevName", "BName", "UnknownType"}) {
        out[text] = name;
    }
    for (const char* const number : {"DenyCount", "DMethod", "ScanState", "PrevPort", "Changed"})
        out[number] = port + 1;
    out["DevType"] = 3;
    return true;
}

bool CQDInfoServerData::t_LoadOpticalPortJsonInfoToMemory(int port, Json::Value& out)
{
    t_LoadPortJsonInfoToMemory(port, out);
    --calls.loads;
    ++calls.opticalLoads;
    return true;
}

bool CQDInfoServerData::t_LoadPortJsonKPIInfoToMemory(int port, Json::Value&)
{
    ++calls.kpiLoads;
    calls.port = port;
    return true;
}

bool CQDInfoServerData::t_LoadAllJsonKPIInfoToMemory(Json::Value*) { return false; }

bool CQDInfoServerData::t_SaveActivityInfoToFile() { return false; }

}  // namespace qdinfo

int __dlog_print(int, int, const char*, const char*, ...)
{
    ++calls.lines;
    return 0;
}

// The time stamp of log lines, which nobody sees here.
int gettimeofday(timeval* now, void*) noexcept
{
    now->tv_sec = 0;
    now->tv_usec = 0;
    return 0;
}

int vconf_get_int(const char*, int* value)
{
    *value = exhaustive::progress;
    return 0;
}

int vconf_set_int(const char* key, int value)
{
    ++calls.writes;
    if (std::strcmp(key, "memory/srcwatch-service/scan_progress") != 0) return 0;
    ++calls.commands;
    calls.command = value;
    return 0;
}

char* vconf_get_str(const char*) { return nullptr; }
int vconf_set_str(const char*, const char*) { return -1; }

int system_info_get_value_int(system_info_key_e, int* value)
{
    *value = exhaustive::HdmiCount();
    return 0;
}

int system_info_get_custom_bool(const char*, bool*) { return -1; }

int TVServiceAPI::CreateSourceControl(EProfile, int, ISourceControl**) { return -1; }
