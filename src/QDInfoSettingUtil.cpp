// SPDX-License-Identifier: Apache-2.0
//
// The MBR settings of the detection service. Writes are deliberately unchecked: nothing could be done about a failure.
#include "QDInfoSettingUtil.h"

#include "Handle.h"
#include "QDInfoCommon.h"

#include <cstdlib>

#include <vconf.h>

namespace {

constexpr char kActivityIndex[] = "db/mbr/activityindex";
constexpr char kMode[] = "memory/mbr/mbr-mode";
constexpr char kStateFrom[] = "db/qdinfo/StateFrom";
constexpr char kHeadendId[] = "db/mbr/HeadendID";
constexpr char kDeviceType[] = "db/mbr/DeviceType";
constexpr char kProviderName[] = "db/mbr/ProviderName";

// Leaves text as it is when the key cannot be read.
void ReadText(const char* key, std::string& text)
{
    const srcwatch::Handle<char, std::free> stored(vconf_get_str(key));
    if (stored) text = stored.get();
}

}  // namespace

int CQDInfoSettingUtil::GetQDInfoActivityIndex()
{
    QDLOG(QDLOG_DEBUG, "get activity index \n");
    int index = -2;
    return vconf_get_int(kActivityIndex, &index) == 0 ? index : -2;
}

void CQDInfoSettingUtil::SetQDInfoActivityIndex(int index)
{
    QDLOG(QDLOG_DEBUG, "set activity index: %d\n", index);
    vconf_set_int(kActivityIndex, index);
}

int CQDInfoSettingUtil::GetQDInfoMode()
{
    QDLOG(QDLOG_DEBUG, "get state data \n");  // Deliberate: "state".
    int mode = 0;
    if (vconf_get_int(kMode, &mode) != 0) return -1;
    QDLOG(QDLOG_DEBUG, "get mode data %d\n", mode);
    return mode;
}

void CQDInfoSettingUtil::SetQDInfoMode(int mode)
{
    QDLOG(QDLOG_DEBUG, "set mode data %d\n", mode);
    vconf_set_int(kMode, mode);
}

int CQDInfoSettingUtil::GetQDInfoState()
{
    QDLOG(QDLOG_DEBUG, "get state data (Removed function)\n");
    return 0;
}

void CQDInfoSettingUtil::SetQDInfoState(int) { QDLOG(QDLOG_DEBUG, "set state data (Removed function)\n"); }

bool CQDInfoSettingUtil::GetQDInfoActivateData(int& stateFrom, std::string& headendId, std::string& deviceType,
                                               std::string& providerName)
{
    QDLOG(QDLOG_DEBUG, "get current data \n");
    int stored = 1;
    if (vconf_get_int(kStateFrom, &stored) == 0) stateFrom = stored;
    ReadText(kHeadendId, headendId);
    ReadText(kDeviceType, deviceType);
    ReadText(kProviderName, providerName);
    return true;
}

void CQDInfoSettingUtil::SetQDInfoActivateData(int stateFrom, const std::string& headendId,
                                               const std::string& deviceType, const std::string& providerName)
{
    QDLOG(QDLOG_DEBUG, "set current data is %d, %s, %s, %s\n", stateFrom, headendId.c_str(), deviceType.c_str(),
          providerName.c_str());
    vconf_set_int(kStateFrom, stateFrom);
    vconf_set_str(kHeadendId, headendId.c_str());
    vconf_set_str(kDeviceType, deviceType.c_str());
    vconf_set_str(kProviderName, providerName.c_str());
}
