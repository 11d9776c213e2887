// SPDX-License-Identifier: Apache-2.0
//
// The lifecycle of the store in the detection service.
#include "QDInfoAPI.h"

#include "QDInfoCommon.h"
#include "QDInfoServerData.h"

namespace qdinfo {

CQDInfoData* CQDInfoAPI::m_pUtil = nullptr;
bool CQDInfoAPI::m_bServerPart = false;

CQDInfoData* CQDInfoAPI::GetQDInfoUtil()
{
    if (m_pUtil != nullptr) return m_pUtil;
    QDLOG(QDLOG_DEBUG, "Create Util  !");
    if (m_bServerPart) m_pUtil = CSingleton<CQDInfoServerData>::GetInstance();
    return m_pUtil;
}

bool CQDInfoAPI::Create(bool bServerPart)
{
    m_bServerPart = bServerPart;
    if (GetQDInfoUtil() == nullptr) return false;
    QDLOG(QDLOG_DEBUG, "init Util  !");
    return m_pUtil->t_Initialize();
}

void CQDInfoAPI::Destroy()
{
    if (m_pUtil == nullptr) return;
    QDLOG(QDLOG_DEBUG, "Destroy Util  !");
    m_pUtil->t_UnInitialize();
    if (m_bServerPart) CSingleton<CQDInfoServerData>::DestroyInstance();
    m_pUtil = nullptr;
}

}  // namespace qdinfo
